#pragma once

#include "housesession.h"

#include "news/newssessionport.h"

namespace velotte {

// The session as the news controller sees it. A separate object rather than
// a second base of HouseSession: with that base, GCC 12's sanitized builds
// read HouseSession's fields through a wrong `this` in its coroutines.
class SessionNewsPort final : public NewsSessionPort {
public:
    explicit SessionNewsPort(HouseSession &session) : m_session(session) {}
    QString newsHouseholdID() const override { return m_session.newsHouseholdID(); }
    QCoro::Task<QString> newsHost(QString playerID) override { return m_session.newsHost(std::move(playerID)); }
    QHash<QString, QString> newsSpeakers() const override { return m_session.guestHosts(); }
    bool musicBusy() const override { return m_session.musicBusy(); }
    void setSendingPlaybackCommand(bool sending) override { m_session.setSendingPlaybackCommand(sending); }

private:
    HouseSession &m_session;
};

} // namespace velotte
