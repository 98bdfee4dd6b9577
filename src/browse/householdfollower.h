#pragma once

#include <QString>

namespace velotte {

// Objects that keep per-household state (browse history, quick picks, the
// Apple Music links) follow the household the session selects.
class HouseholdFollower {
public:
    virtual ~HouseholdFollower() = default;
    virtual void selectHousehold(const QString &householdID) = 0;
    virtual void clear() = 0;
};

} // namespace velotte
