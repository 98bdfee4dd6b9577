#pragma once

#include <QCoroTask>
#include <QHash>
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
    // Player id -> host of the household's speakers as far as the session
    // knows them, hidden ones included: in a household too large for the
    // topology, they tell a stereo pair from rooms grouped together.
    virtual QHash<QString, QString> newsSpeakers() const { return {}; }
    // Sending a music or queue command, or choosing a room.
    virtual bool musicBusy() const = 0;
    virtual void setSendingPlaybackCommand(bool sending) = 0;
};

} // namespace velotte
