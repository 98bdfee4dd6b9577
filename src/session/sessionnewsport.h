#pragma once

#include "news/newssessionport.h"

namespace velotte {

class HouseSession;

// The session as the news controller sees it. A separate object rather than
// a second base of HouseSession: with that base, GCC 12's sanitized builds
// read HouseSession's fields through a wrong `this` in its coroutines.
class SessionNewsPort final : public NewsSessionPort {
public:
    explicit SessionNewsPort(HouseSession &session) : m_session(session) {}
    // The household the alarms belong to ("local" for rooms found on the
    // network without an account).
    QString newsHouseholdID() const override;
    // The host that answers for a player: its group's coordinator. Throws
    // the SpeakerFault of no answer.
    QCoro::Task<QString> newsHost(QString playerID) override;
    QHash<QString, QString> newsSpeakers() const override;
    // Sending a music or queue command, or choosing a room: Play now waits.
    bool musicBusy() const override;
    void setSendingPlaybackCommand(bool sending) override;

private:
    HouseSession &m_session;
};

} // namespace velotte
