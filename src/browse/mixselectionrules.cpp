#include "mixselectionrules.h"

#include <QSet>

namespace velotte::MixSelectionRules {

QList<int> validIndices(const QList<int> &indices, int count)
{
    QList<int> kept;
    QSet<int> seen;
    for (const int index : indices) {
        if (kept.size() == maximumCount)
            break;
        if (index < 0 || index >= count || seen.contains(index))
            continue;
        seen.insert(index);
        kept.append(index);
    }
    return kept;
}

} // namespace velotte::MixSelectionRules
