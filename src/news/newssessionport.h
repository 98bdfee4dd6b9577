#pragma once

#include <QCoroTask>
#include <QString>

namespace velotte {

// What the news controller needs of the session: the household the alarms
// belong to, the speaker that answers for a room, and the music-busy flags.
class NewsSessionPort {
public:
    virtual ~NewsSessionPort() = default;
    virtual QString newsHouseholdID() const = 0;
    // Throws a Failure when no speaker answers for the player.
    virtual QCoro::Task<QString> newsHost(QString playerID) = 0;
    // Sending a music or queue command, or choosing a room.
    virtual bool musicBusy() const = 0;
    virtual void setSendingPlaybackCommand(bool sending) = 0;
};

} // namespace velotte
