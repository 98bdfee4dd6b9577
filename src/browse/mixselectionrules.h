#pragma once

#include <QList>

namespace velotte::MixSelectionRules {

// The most a mix holds.
inline constexpr int maximumCount = 12;

// The model's indices cleaned: in range, each once (the first occurrence
// wins), at most twelve, in the model's order.
QList<int> validIndices(const QList<int> &indices, int count);

} // namespace velotte::MixSelectionRules
