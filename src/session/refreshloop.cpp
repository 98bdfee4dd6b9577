// The 0.5 s refresh loop and the polling switch.
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
    const StillCurrent alive(this);
    Clock &clock = m_clock;
    for (quint64 tick = 1;; ++tick) {
        co_await clock.sleep(500ms, cancel);
        if (!alive || cancel.isCancelled())
            co_return;
        if (m_demo) {
            m_playback->advanceDemo();
            continue;
        }
        if (m_phase != Phase::ready)
            continue;
        m_playback->advanceLive();
        // Reads wait for each other: a slow read stretches the period. While
        // the speakers send their own updates, a read now and then suffices.
        const quint64 period = m_events->holding() ? 120 : m_guest ? 3 : 15;
        if (tick % period == 0) {
            if (m_groups.isEmpty())
                co_await refresh();
            else
                co_await m_playback->refreshPlayback();
        }
    }
}

void HouseSession::setPollingEnabled(bool enabled)
{
    if (m_pollingEnabled == enabled)
        return;
    m_pollingEnabled = enabled;
    if (!enabled)
        m_sound->endAdjustingGroupVolume();
    Q_EMIT pollingEnabledChanged();
    if (m_demo)
        return; // the demo's clock runs regardless
    stopClock();
    if (!enabled)
        return;
    if (m_phase == Phase::ready && !m_isBootstrapping) {
        startClock();
        // Fresh state without waiting for the loop's turn, rooms included:
        // another controller may have regrouped them while the panel was hidden.
        auto read = refresh();
    }
}

} // namespace velotte
