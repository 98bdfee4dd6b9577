#include "sessionnewsport.h"

#include "housesession.h"

namespace velotte {

QString SessionNewsPort::newsHouseholdID() const
{
    if (m_session.guest())
        return QStringLiteral("local");
    return m_session.householdID().value_or(QString());
}

QCoro::Task<QString> SessionNewsPort::newsHost(QString playerID)
{
    QString coordinator = playerID;
    for (const SonosGroup &g : m_session.groups()) {
        if (g.playerIds.contains(playerID))
            coordinator = g.coordinatorId;
    }
    std::optional<QString> host = co_await m_session.playerHost(coordinator);
    if (!host && coordinator != playerID)
        host = co_await m_session.playerHost(playerID);
    if (!host)
        throw SpeakerFault::noAnswer();
    co_return *host;
}

QHash<QString, QString> SessionNewsPort::newsSpeakers() const { return m_session.guestHosts(); }

bool SessionNewsPort::musicBusy() const
{
    return m_session.playback()->sendingPlaybackCommand() || m_session.appleMusic()->musicQueueBusy() || m_session.choosingRoom();
}

void SessionNewsPort::setSendingPlaybackCommand(bool sending) { m_session.playback()->setSendingPlaybackCommand(sending); }

} // namespace velotte
