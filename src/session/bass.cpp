// Bass: always over the local network, at the active group's coordinator.
#include "sessionsound.h"

#include "housesession.h"
#include "localports.h"
#include "pending.h"

#include <cmath>

namespace velotte {

using namespace std::chrono_literals;

namespace {
const QString noBassHost = QStringLiteral("Connect this device and your Sonos speaker to the same Wi-Fi, then retry.");
const QString bassFailed = QStringLiteral("Bass could not be changed. Check the speaker’s connection and retry.");
const QString bassUnreachable = QStringLiteral("Could not connect to Sonos.");
} // namespace

void SessionSound::setBassValue(double bass)
{
    if (m_bass == bass)
        return;
    m_bass = bass;
    Q_EMIT bassChanged();
}

void SessionSound::setBassNote(const std::optional<QString> &note)
{
    if (m_bassNote == note)
        return;
    m_bassNote = note;
    Q_EMIT bassChanged();
}

void SessionSound::followActiveGroup()
{
    if (!m_bassGroupID || m_bassGroupID == m_session.activeGroupID())
        return;
    m_bassRequestID.draw();
    m_bassEditID.draw();
    if (m_bassTask) {
        m_bassTask->cancel();
        m_bassTask.reset();
    }
    m_bassHost.reset();
    m_bassGroupID.reset();
    m_findingBass = false;
    m_bassNote.reset();
    Q_EMIT bassChanged();
    if (m_session.pollingEnabled()) // the panel shows: look at once
        auto lookup = refreshBassControl();
}

QCoro::Task<std::optional<QString>> SessionSound::findBassHost(QString groupID)
{
    if (m_session.guest())
        co_return m_session.guestHost(groupID);
    QString coordinator;
    for (const SonosGroup &g : m_session.groups()) {
        if (g.id == groupID)
            coordinator = g.coordinatorId;
    }
    co_return co_await m_session.playerHost(coordinator);
}

QCoro::Task<void> SessionSound::refreshBassControl()
{
    if (m_session.demo() || !m_session.activeGroupID())
        co_return;
    const StillCurrent current = StillCurrent::drawing(this, m_bassRequestID);
    const QString groupID = *m_session.activeGroupID();
    m_findingBass = true;
    Q_EMIT bassChanged();
    const std::optional<QString> host = co_await findBassHost(groupID);
    if (!current)
        co_return;
    m_findingBass = false;
    m_bassHost = host;
    m_bassGroupID = groupID;
    Q_EMIT bassChanged();
    if (!host) {
        setBassNote(noBassHost);
        co_return;
    }
    std::optional<int> level;
    const LocalPorts *local = m_session.services().local.get();
    if (local && local->bass)
        level = co_await local->bass(*host);
    if (!current)
        co_return;
    if (!level) {
        const std::optional<SpeakerFault> fault = m_session.speakerFault(host);
        setBassNote(fault && fault->kind() == SpeakerFault::Kind::localControlOff ? fault->sentence() : bassUnreachable);
        co_return;
    }
    const double fraction = (std::clamp(*level, -10, 10) + 10) / 20.0;
    m_confirmedBass = fraction;
    setBassValue(fraction);
    setBassNote(std::nullopt);
}

void SessionSound::setBass(double fraction)
{
    const bool demo = m_session.demo();
    if (!demo && !m_bassHost)
        return;
    const int level = fraction <= 0 || std::isnan(fraction) ? -10 : int(std::round(std::min(fraction, 1.0) * 20 - 10));
    setBassValue((level + 10) / 20.0);
    if (m_bassTask) {
        m_bassTask->cancel();
        m_bassTask.reset();
    }
    if (demo || !m_bassHost)
        return;
    m_bassEditID.draw();
    setBassNote(std::nullopt);
    CancelToken cancel;
    m_bassTask = cancel;
    auto task = writeBass(level, *m_bassHost, cancel);
}

QCoro::Task<void> SessionSound::writeBass(int level, QString host, CancelToken cancel)
{
    const StillCurrent current(this, m_bassEditID);
    Pending pending(m_session.pending());
    co_await m_session.clock().sleep(250ms, cancel); // the slider's debounce
    if (!current || cancel.isCancelled())
        co_return;
    bool ok = false;
    const LocalPorts *local = m_session.services().local.get();
    if (local && local->setBass)
        ok = co_await local->setBass(host, level);
    if (!current.alive())
        co_return;
    if (m_bassTask && *m_bassTask == cancel)
        m_bassTask.reset();
    if (!current)
        co_return;
    if (ok) {
        m_confirmedBass = m_bass;
        co_return;
    }
    setBassValue(m_confirmedBass);
    const std::optional<SpeakerFault> fault = m_session.speakerFault(host);
    if (fault && fault->kind() == SpeakerFault::Kind::localControlOff)
        setBassNote(fault->sentence());
    else if (fault && fault->kind() == SpeakerFault::Kind::noAnswer)
        setBassNote(bassUnreachable);
    else
        setBassNote(bassFailed);
}

} // namespace velotte
