#include "clock.h"

#include "wakeup.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>

namespace velotte {

namespace {
// Resume on the event loop, never inside the caller of cancel(): the waiter
// must not run in the middle of someone else's state change.
void fireLater(const Wakeup &wake)
{
    QTimer::singleShot(0, QCoreApplication::instance(), [wake] { wake.fire(); });
}
} // namespace

Clock &Clock::system()
{
    static SystemClock clock;
    return clock;
}

SystemClock::SystemClock()
{
    QElapsedTimer t;
    t.start();
    m_origin = t.msecsSinceReference();
}

QDateTime SystemClock::now() const { return QDateTime::currentDateTimeUtc(); }

qint64 SystemClock::monotonicMillis() const
{
    QElapsedTimer t;
    t.start();
    return t.msecsSinceReference() - m_origin;
}

QCoro::Task<void> SystemClock::sleep(Millis duration, CancelToken cancel)
{
    if (cancel.isCancelled())
        co_return;
    Wakeup wake;
    auto *timer = new QTimer(QCoreApplication::instance());
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, timer, [wake] { wake.fire(); });
    timer->start(std::max<qint64>(0, duration.count()));
    {
        CancelGuard guard(cancel, [wake, timer] {
            timer->stop();
            fireLater(wake);
        });
        co_await wake;
    }
    timer->deleteLater();
}

struct VirtualClock::Sleeper {
    qint64 deadline;
    quint64 seq;
    Wakeup wake;
};

VirtualClock::VirtualClock(QDateTime start) : m_start(std::move(start)) {}

VirtualClock::~VirtualClock()
{
    QCoreApplication::processEvents();
    while (!m_sleepers.empty()) {
        auto sleepers = std::move(m_sleepers);
        m_sleepers.clear();
        for (const auto &s : sleepers)
            s->wake.fire();
        QCoreApplication::processEvents();
    }
}

QDateTime VirtualClock::now() const { return m_start.addMSecs(m_mono + m_wallOffset); }

QCoro::Task<void> VirtualClock::sleep(Millis duration, CancelToken cancel)
{
    if (cancel.isCancelled())
        co_return;
    auto sleeper = std::make_shared<Sleeper>(Sleeper{m_mono + std::max<qint64>(0, duration.count()), ++m_seq, {}});
    m_sleepers.push_back(sleeper);
    {
        CancelGuard guard(cancel, [this, sleeper] {
            std::erase(m_sleepers, sleeper);
            fireLater(sleeper->wake);
        });
        co_await sleeper->wake;
    }
}

void VirtualClock::advance(Millis duration)
{
    const qint64 target = m_mono + std::max<qint64>(0, duration.count());
    QCoreApplication::processEvents();
    for (;;) {
        auto next = std::min_element(m_sleepers.begin(), m_sleepers.end(), [](const auto &a, const auto &b) {
            return a->deadline != b->deadline ? a->deadline < b->deadline : a->seq < b->seq;
        });
        if (next == m_sleepers.end() || (*next)->deadline > target)
            break;
        auto sleeper = *next;
        m_sleepers.erase(next);
        m_mono = std::max(m_mono, sleeper->deadline);
        sleeper->wake.fire();
        QCoreApplication::processEvents();
    }
    m_mono = target;
    QCoreApplication::processEvents();
}

} // namespace velotte
