#pragma once

#include <QCoroTask>
#include <QString>

namespace velotte {

// What the session needs of the sign-in: SonosAuth implements it.
class SignInService {
public:
    virtual ~SignInService() = default;
    // Loads the stored sign-in; true when one is present.
    virtual QCoro::Task<bool> restore() = 0;
    // Runs the interactive sign-in; throws on failure or Cancelled.
    virtual QCoro::Task<void> authorize() = 0;
    virtual void signOut() = 0;
};

// Objects that keep per-household state (browse history, quick picks, the
// Apple Music links) follow the household the session selects.
class HouseholdFollower {
public:
    virtual ~HouseholdFollower() = default;
    virtual void selectHousehold(const QString &householdID) = 0;
    virtual void clear() = 0;
};

struct SonosFavorite;

// The browse model as the session uses it when music starts.
class PlayHistory {
public:
    virtual ~PlayHistory() = default;
    virtual void recordPlayed(const SonosFavorite &favorite) = 0;
    // Stations play on their own; they are never queued or shuffled.
    virtual bool isStation(const SonosFavorite &favorite) const = 0;
};

} // namespace velotte
