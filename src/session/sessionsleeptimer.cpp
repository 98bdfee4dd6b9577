#include "sessionsleeptimer.h"

#include "housesession.h"
#include "localports.h"
#include "pending.h"

namespace velotte {

SessionSleepTimer::SessionSleepTimer(HouseSession &session) : QObject(&session), m_session(session)
{
    // Each group has its own timer; it is read whenever the panel opens on one.
    auto readIfShown = [this] {
        if (m_session.pollingEnabled())
            auto read = refresh();
    };
    QObject::connect(&session, &HouseSession::activeGroupIDChanged, this, [this, readIfShown] {
        m_requestID.draw();
        setRemaining(std::nullopt);
        readIfShown();
    });
    QObject::connect(&session, &HouseSession::pollingEnabledChanged, this, readIfShown);
}

std::optional<qint64> SessionSleepTimer::remainingMillis() const
{
    if (!m_endsAt.isValid())
        return std::nullopt;
    return std::max<qint64>(0, m_session.clock().now().msecsTo(m_endsAt));
}

void SessionSleepTimer::setRemaining(std::optional<qint64> millis)
{
    const QDateTime endsAt = millis ? m_session.clock().now().addMSecs(*millis) : QDateTime();
    if (endsAt == m_endsAt)
        return;
    m_endsAt = endsAt;
    Q_EMIT changed();
}

void SessionSleepTimer::setMinutes(int minutes)
{
    auto task = set(minutes > 0 ? std::optional<qint64>(qint64(minutes) * 60000) : std::nullopt);
}

QCoro::Task<void> SessionSleepTimer::set(std::optional<qint64> millis)
{
    const LocalPorts *local = m_session.services().local.get();
    const auto group = m_session.activeGroup();
    if (!local || !local->setSleepTimer || !group || m_session.demo()) {
        if (m_session.demo())
            setRemaining(millis); // the preview room counts down on screen
        co_return;
    }
    const StillCurrent current = StillCurrent::drawing(this, m_requestID);
    Pending pending(m_session.pending());
    const std::optional<QString> host = co_await m_session.playerHost(group->coordinatorId);
    if (!current)
        co_return;
    try {
        if (!host)
            throw SpeakerFault::noAnswer();
        co_await local->setSleepTimer(*host, millis);
        if (current)
            setRemaining(millis);
    } catch (const std::exception &e) {
        if (current)
            m_session.setNote(QStringLiteral("Could not set the sleep timer. ") + sentenceOf(e));
    }
}

QCoro::Task<void> SessionSleepTimer::refresh()
{
    const LocalPorts *local = m_session.services().local.get();
    const auto group = m_session.activeGroup();
    if (!local || !local->sleepTimer || !group || m_session.demo())
        co_return;
    const StillCurrent current = StillCurrent::drawing(this, m_requestID);
    const std::optional<QString> host = co_await m_session.playerHost(group->coordinatorId);
    if (!current || !host)
        co_return;
    try {
        const std::optional<qint64> remaining = co_await local->sleepTimer(*host);
        if (current)
            setRemaining(remaining);
    } catch (const std::exception &) {
        // A timer that cannot be read is not shown; setting it says why.
        if (current)
            setRemaining(std::nullopt);
    }
}

} // namespace velotte
