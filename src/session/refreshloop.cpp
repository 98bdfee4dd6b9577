// The 0.5 s refresh loop and the position shown between reads.
#include "housesession.h"

namespace velotte {

using namespace std::chrono_literals;

void HouseSession::startClock()
{
    stopClock();
    m_clockCancel = CancelToken();
    m_clockRunning = true;
    auto loop = runClock(m_clockCancel);
}

void HouseSession::stopClock()
{
    m_clockCancel.cancel();
    m_clockRunning = false;
}

QCoro::Task<void> HouseSession::runClock(CancelToken cancel)
{
    QPointer<HouseSession> self(this);
    Clock &clock = m_clock;
    for (quint64 tick = 1;; ++tick) {
        co_await clock.sleep(500ms, cancel);
        if (!self || cancel.isCancelled())
            co_return;
        if (m_demo) {
            advanceDemo();
            continue;
        }
        if (m_phase != Phase::ready)
            continue;
        advanceLive();
        // Reads wait for each other: a slow read stretches the period.
        if (tick % (m_guest ? 3 : 15) == 0) {
            if (m_groups.isEmpty())
                co_await refresh();
            else
                co_await refreshPlayback();
        }
    }
}

void HouseSession::advanceLive()
{
    if (!m_isPlaying)
        return;
    qint64 position = m_playbackClock.positionMillis;
    if (m_playbackClock.playing) {
        const qint64 elapsed = m_playbackClock.updatedAt.msecsTo(m_clock.now());
        position += std::max<qint64>(0, elapsed);
    }
    if (m_durationMillis >= 1)
        position = std::min(position, m_durationMillis);
    setPositionMillis(position);
}

void HouseSession::setPollingEnabled(bool enabled)
{
    if (m_pollingEnabled == enabled)
        return;
    m_pollingEnabled = enabled;
    if (!enabled)
        m_adjustingGroupVolume = false;
    Q_EMIT pollingEnabledChanged();
    if (m_demo)
        return; // the demo's clock runs regardless
    stopClock();
    if (!enabled)
        return;
    if (m_phase == Phase::ready && !m_isBootstrapping) {
        startClock();
        auto read = refreshPlayback(); // fresh state without waiting for the 15th tick
    }
}

} // namespace velotte
