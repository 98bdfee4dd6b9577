#include "speakerfinder.h"

#include "avahibrowser.h"

#include "core/logging.h"
#include "core/stillcurrent.h"

#include <QCoreApplication>

namespace velotte {

using namespace std::chrono_literals;

SpeakerFinder::SpeakerFinder(BrowseBackend &backend, Clock &clock, QObject *parent) : QObject(parent), m_backend(backend), m_clock(clock) {}

SpeakerFinder::~SpeakerFinder() { m_timer.cancel(); }

SpeakerFinder &SpeakerFinder::shared()
{
    static auto *backend = new AvahiBrowser;
    static auto *finder = new SpeakerFinder(*backend, Clock::system(), QCoreApplication::instance());
    return *finder;
}

QCoro::Task<QHash<QString, QString>> SpeakerFinder::hosts()
{
    QHash<QString, QString> first = co_await lookup();
    if (!first.isEmpty())
        co_return first;
    co_return co_await lookup(); // a browse that started cold often answers empty once
}

QCoro::Task<QHash<QString, QString>> SpeakerFinder::lookup()
{
    Waiter waiter{Wakeup(), std::make_shared<QHash<QString, QString>>()};
    m_waiters.push_back(waiter);
    if (!m_browsing) {
        m_addresses.clear();
        BrowseBackend::Events events;
        events.found = [this](const QString &name) { onFound(name); };
        events.allForNow = [this] { arm(8s); };
        events.resolved = [this](const QString &name, std::optional<QString> ipv4, QString hostName) { onResolved(name, ipv4, hostName); };
        events.failed = [this](const QString &name) { onFailed(name); };
        m_browsing = m_backend.start(events);
        if (!m_browsing) {
            qCDebug(lcLocal) << "no mDNS daemon to browse with";
            finish();
        }
    }
    if (m_browsing)
        arm(8s);
    co_await waiter.wake;
    // The answer was taken when the browse finished: a waiter resumed
    // before this one may already have started the next browse.
    co_return *waiter.answer;
}

void SpeakerFinder::arm(Millis after)
{
    // Arming again voids the timer armed before; its sleep ends early.
    m_timer.cancel();
    m_timer = CancelToken();
    auto task = fireAfter(after, ++m_generation, m_timer);
}

QCoro::Task<void> SpeakerFinder::fireAfter(Millis after, int generation, CancelToken cancel)
{
    const StillCurrent alive(this);
    co_await m_clock.sleep(after, cancel);
    if (alive && !cancel.isCancelled() && generation == m_generation)
        finish();
}

void SpeakerFinder::onFound(const QString &name)
{
    if (m_services.contains(name))
        return; // the same service on another interface or protocol
    m_services.insert(name);
    m_resolving.insert(name);
    m_backend.resolve(name);
}

void SpeakerFinder::onResolved(const QString &name, std::optional<QString> ipv4, QString hostName)
{
    QString host = ipv4.value_or(QString());
    if (host.isEmpty()) {
        while (hostName.endsWith(QLatin1Char('.')))
            hostName.chop(1);
        host = hostName;
    }
    if (!host.isEmpty())
        m_addresses.insert(name, host);
    onFailed(name);
}

void SpeakerFinder::onFailed(const QString &name)
{
    m_resolving.remove(name);
    if (m_resolving.isEmpty())
        arm(500ms);
}

void SpeakerFinder::finish()
{
    if (m_browsing)
        m_backend.stop();
    m_browsing = false;
    m_services.clear();
    m_resolving.clear();
    ++m_generation; // no timer may finish a later lookup
    m_timer.cancel();
    auto waiters = std::move(m_waiters);
    m_waiters.clear();
    for (const Waiter &w : waiters)
        *w.answer = m_addresses;
    for (const Waiter &w : waiters)
        w.wake.fire();
}

} // namespace velotte
