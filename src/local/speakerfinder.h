#pragma once

#include "core/cancel.h"
#include "core/clock.h"
#include "core/wakeup.h"

#include <QCoroTask>
#include <QHash>
#include <QObject>
#include <QSet>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace velotte {

// What the finder needs of Bonjour: browse "_sonos._tcp" in "local", and
// resolve a found service. Events arrive on the Qt loop.
class BrowseBackend {
public:
    struct Events {
        std::function<void(const QString &name)> found;
        std::function<void()> allForNow;
        // An IPv4 address as text when the service has one; else its host name.
        std::function<void(const QString &name, std::optional<QString> ipv4, QString hostName)> resolved;
        std::function<void(const QString &name)> failed;
    };
    virtual ~BrowseBackend() = default;
    // Starts browsing; false when no mDNS daemon can be reached.
    virtual bool start(Events events) = 0;
    virtual void resolve(const QString &name) = 0; // gives up after 5 s with `failed`
    virtual void stop() = 0;
};

// Finds the speakers of the local network: a map of Bonjour service name to
// host. A lookup ends 0.5 s after the last pending resolution, or 8 s after
// the last browser event; overlapping callers share one browse.
class SpeakerFinder : public QObject {
    Q_OBJECT
public:
    SpeakerFinder(BrowseBackend &backend, Clock &clock, QObject *parent = nullptr);
    ~SpeakerFinder() override;
    // The program's one finder, on the desktop's Avahi daemon.
    static SpeakerFinder &shared();
    // Asks once, and a second time when the first answer is empty.
    QCoro::Task<QHash<QString, QString>> hosts();
    QCoro::Task<QHash<QString, QString>> lookup();
    bool browsing() const { return m_browsing; }
    int generation() const { return m_generation; }

private:
    void arm(Millis after);
    QCoro::Task<void> fireAfter(Millis after, int generation, CancelToken cancel);
    void finish();
    void onFound(const QString &name);
    void onResolved(const QString &name, std::optional<QString> ipv4, QString hostName);
    void onFailed(const QString &name);

    BrowseBackend &m_backend;
    Clock &m_clock;
    bool m_browsing = false;
    QSet<QString> m_services;
    QSet<QString> m_resolving;
    QHash<QString, QString> m_addresses;
    struct Waiter {
        Wakeup wake;
        std::shared_ptr<QHash<QString, QString>> answer;
    };
    std::vector<Waiter> m_waiters;
    int m_generation = 0;
    CancelToken m_timer; // ends the sleep of a timer that was armed again
};

} // namespace velotte
