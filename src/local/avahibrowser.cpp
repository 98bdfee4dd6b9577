#include "avahibrowser.h"

#include "core/logging.h"

#include <QCoreApplication>
#include <QHash>
#include <QSocketNotifier>
#include <QTimer>

#include <avahi-client/client.h>
#include <avahi-client/lookup.h>
#include <avahi-common/error.h>
#include <avahi-common/watch.h>

#include <sys/time.h>

// An AvahiPoll on the Qt loop: watches are socket notifiers, timeouts timers.
struct AvahiWatch {
    int fd;
    AvahiWatchEvent wanted;
    AvahiWatchEvent last = AvahiWatchEvent(0);
    AvahiWatchCallback callback;
    void *userdata;
    QSocketNotifier *read = nullptr;
    QSocketNotifier *write = nullptr;
    // Avahi may free a watch from inside its own callback.
    bool dispatching = false;
    bool freed = false;
};

struct AvahiTimeout {
    AvahiTimeout(AvahiTimeoutCallback cb, void *data) : callback(cb), userdata(data) {}
    QTimer timer;
    AvahiTimeoutCallback callback;
    void *userdata;
    bool dispatching = false;
    bool freed = false;
};

namespace velotte {

namespace {

void fireWatch(AvahiWatch *w, AvahiWatchEvent event)
{
    w->last = event;
    w->dispatching = true;
    w->callback(w, w->fd, event, w->userdata);
    w->dispatching = false;
    if (w->freed)
        delete w;
    else
        w->last = AvahiWatchEvent(0);
}

void updateWatch(AvahiWatch *w, AvahiWatchEvent event)
{
    w->wanted = event;
    w->read->setEnabled(event & AVAHI_WATCH_IN);
    w->write->setEnabled(event & AVAHI_WATCH_OUT);
}

AvahiWatch *watchNew(const AvahiPoll *, int fd, AvahiWatchEvent event, AvahiWatchCallback callback, void *userdata)
{
    auto *w = new AvahiWatch{fd, event, AvahiWatchEvent(0), callback, userdata};
    w->read = new QSocketNotifier(fd, QSocketNotifier::Read);
    w->write = new QSocketNotifier(fd, QSocketNotifier::Write);
    QObject::connect(w->read, &QSocketNotifier::activated, w->read, [w] { fireWatch(w, AVAHI_WATCH_IN); });
    QObject::connect(w->write, &QSocketNotifier::activated, w->write, [w] { fireWatch(w, AVAHI_WATCH_OUT); });
    updateWatch(w, event);
    return w;
}

AvahiWatchEvent watchEvents(AvahiWatch *w) { return w->last; }

void watchFree(AvahiWatch *w)
{
    w->read->setEnabled(false);
    w->write->setEnabled(false);
    w->read->deleteLater();
    w->write->deleteLater();
    if (w->dispatching)
        w->freed = true; // fireWatch deletes it when the callback returns
    else
        delete w;
}

void armTimeout(AvahiTimeout *t, const struct timeval *tv)
{
    if (!tv) {
        t->timer.stop();
        return;
    }
    struct timeval now;
    gettimeofday(&now, nullptr);
    const qint64 ms = (qint64(tv->tv_sec) - now.tv_sec) * 1000 + (qint64(tv->tv_usec) - now.tv_usec) / 1000;
    t->timer.start(int(std::max<qint64>(0, ms)));
}

AvahiTimeout *timeoutNew(const AvahiPoll *, const struct timeval *tv, AvahiTimeoutCallback callback, void *userdata)
{
    auto *t = new AvahiTimeout(callback, userdata);
    t->timer.setSingleShot(true);
    QObject::connect(&t->timer, &QTimer::timeout, &t->timer, [t] {
        t->dispatching = true;
        t->callback(t, t->userdata);
        t->dispatching = false;
        if (t->freed) // not inside its own timer's signal
            QTimer::singleShot(0, QCoreApplication::instance(), [t] { delete t; });
    });
    armTimeout(t, tv);
    return t;
}

void timeoutFree(AvahiTimeout *t)
{
    t->timer.stop();
    if (t->dispatching)
        t->freed = true;
    else
        delete t;
}

const AvahiPoll qtPoll = {nullptr, watchNew, updateWatch, watchEvents, watchFree, timeoutNew, armTimeout, timeoutFree};

} // namespace

struct AvahiBrowser::Impl {
    AvahiClient *client = nullptr;
    AvahiServiceBrowser *browser = nullptr;
    Events events;
    // A service being resolved: first the service itself, then, when it
    // answered with an IPv6 address, its host name for an IPv4 one.
    struct Pending {
        AvahiServiceResolver *resolver = nullptr;
        AvahiHostNameResolver *hostResolver = nullptr;
        QTimer *deadline = nullptr;
        QString hostName;
    };
    QHash<QString, Pending> resolving;
    struct Seen {
        AvahiIfIndex interface;
        AvahiProtocol protocol;
        QString type;
        QString domain;
    };
    QHash<QString, Seen> seen;

    // Forgets a pending resolution; its host name when it had one.
    std::optional<QString> done(const QString &name)
    {
        auto it = resolving.find(name);
        if (it == resolving.end())
            return std::nullopt;
        if (it->resolver)
            avahi_service_resolver_free(it->resolver);
        if (it->hostResolver)
            avahi_host_name_resolver_free(it->hostResolver);
        // Its own time-out may be what ends it: delete it later.
        it->deadline->stop();
        it->deadline->deleteLater();
        const QString hostName = it->hostName;
        resolving.erase(it);
        return hostName;
    }

    // Reports the end of a resolution; an IPv6-only service by its host name.
    void report(const QString &name, std::optional<QString> ipv4)
    {
        const auto hostName = done(name);
        if (!hostName)
            return;
        if (!ipv4 && hostName->isEmpty())
            events.failed(name);
        else
            events.resolved(name, ipv4, *hostName);
    }

    static void browsed(AvahiServiceBrowser *, AvahiIfIndex interface, AvahiProtocol protocol, AvahiBrowserEvent event, const char *name,
                        const char *type, const char *domain, AvahiLookupResultFlags, void *userdata)
    {
        auto *self = static_cast<Impl *>(userdata);
        switch (event) {
        case AVAHI_BROWSER_NEW: {
            const QString service = QString::fromUtf8(name);
            if (!self->seen.contains(service))
                self->seen.insert(service, {interface, protocol, QString::fromUtf8(type), QString::fromUtf8(domain)});
            self->events.found(service);
            break;
        }
        case AVAHI_BROWSER_ALL_FOR_NOW:
            self->events.allForNow();
            break;
        case AVAHI_BROWSER_FAILURE:
            qCWarning(lcLocal) << "Bonjour browse failed:" << avahi_strerror(avahi_client_errno(self->client));
            self->events.allForNow();
            break;
        default:
            break;
        }
    }

    static void resolved(AvahiServiceResolver *resolver, AvahiIfIndex interface, AvahiProtocol protocol, AvahiResolverEvent event, const char *name,
                         const char *, const char *, const char *hostName, const AvahiAddress *address, uint16_t, AvahiStringList *,
                         AvahiLookupResultFlags, void *userdata)
    {
        auto *self = static_cast<Impl *>(userdata);
        const QString service = QString::fromUtf8(name);
        auto it = self->resolving.find(service);
        if (it == self->resolving.end() || it->resolver != resolver)
            return;
        if (event != AVAHI_RESOLVER_FOUND) {
            self->report(service, std::nullopt);
            return;
        }
        it->hostName = QString::fromUtf8(hostName ? hostName : "");
        if (address && address->proto == AVAHI_PROTO_INET) {
            self->report(service, text(address));
            return;
        }
        // Only an IPv6 address so far: ask the host name for an IPv4 one
        // within the same deadline.
        avahi_service_resolver_free(it->resolver);
        it->resolver = nullptr;
        if (hostName && *hostName)
            it->hostResolver = avahi_host_name_resolver_new(self->client, interface, protocol, hostName, AVAHI_PROTO_INET, AvahiLookupFlags(0),
                                                            &Impl::hostResolved, self);
        if (!it->hostResolver)
            self->report(service, std::nullopt);
    }

    static void hostResolved(AvahiHostNameResolver *resolver, AvahiIfIndex, AvahiProtocol, AvahiResolverEvent event, const char *,
                             const AvahiAddress *address, AvahiLookupResultFlags, void *userdata)
    {
        auto *self = static_cast<Impl *>(userdata);
        for (auto it = self->resolving.begin(); it != self->resolving.end(); ++it) {
            if (it->hostResolver != resolver)
                continue;
            const bool ipv4 = event == AVAHI_RESOLVER_FOUND && address && address->proto == AVAHI_PROTO_INET;
            // A copy: reporting erases the entry the key lives in.
            const QString name = it.key();
            self->report(name, ipv4 ? std::optional<QString>(text(address)) : std::nullopt);
            return;
        }
    }

    static QString text(const AvahiAddress *address)
    {
        char out[AVAHI_ADDRESS_STR_MAX];
        avahi_address_snprint(out, sizeof out, address);
        return QString::fromLatin1(out);
    }
};

AvahiBrowser::AvahiBrowser() : d(std::make_unique<Impl>()) {}

AvahiBrowser::~AvahiBrowser() { stop(); }

bool AvahiBrowser::start(Events events)
{
    stop();
    d->events = std::move(events);
    int error = 0;
    d->client = avahi_client_new(&qtPoll, AvahiClientFlags(0), nullptr, nullptr, &error);
    if (!d->client) {
        qCDebug(lcLocal) << "no Avahi daemon:" << avahi_strerror(error);
        return false;
    }
    d->browser = avahi_service_browser_new(d->client, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, "_sonos._tcp", "local", AvahiLookupFlags(0),
                                           &Impl::browsed, d.get());
    if (!d->browser) {
        stop();
        return false;
    }
    return true;
}

void AvahiBrowser::resolve(const QString &name)
{
    const auto seen = d->seen.value(name);
    Impl::Pending pending;
    pending.resolver = avahi_service_resolver_new(d->client, seen.interface, seen.protocol, name.toUtf8().constData(), seen.type.toUtf8().constData(),
                                                  seen.domain.toUtf8().constData(), AVAHI_PROTO_UNSPEC, AvahiLookupFlags(0), &Impl::resolved, d.get());
    if (!pending.resolver) {
        d->events.failed(name);
        return;
    }
    pending.deadline = new QTimer;
    pending.deadline->setSingleShot(true);
    QObject::connect(pending.deadline, &QTimer::timeout, pending.deadline, [this, name] { d->report(name, std::nullopt); });
    pending.deadline->start(5000);
    d->resolving.insert(name, pending);
}

void AvahiBrowser::stop()
{
    for (const QString &name : d->resolving.keys())
        d->done(name);
    if (d->browser)
        avahi_service_browser_free(d->browser);
    d->browser = nullptr;
    if (d->client)
        avahi_client_free(d->client);
    d->client = nullptr;
    d->seen.clear();
}

} // namespace velotte
