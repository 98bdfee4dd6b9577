#pragma once

#include "kit/fakehttpserver.h"

#include <QHash>
#include <QObject>
#include <QUrl>

#include <functional>
#include <memory>
#include <vector>

namespace velotte::fake {

// Subscriptions to simulated speakers' events and the NOTIFY requests that
// serve them, as real speakers do: the whole state right after SUBSCRIBE
// (SEQ 0), then whatever a service shows whenever it changes, each from the
// speaker's own address. A subscription not renewed in time lapses.
class FakeEvents : public QObject {
    Q_OBJECT
public:
    // The property set a speaker sends for the service at an event path.
    using Body = std::function<QString(const QString &host, const QString &path)>;
    struct Subscription {
        QString sid;
        QString host; // the speaker's
        QString path;
        QUrl callback;
        qint64 expires = 0;
        quint32 seq = 0;
        QString last;
        QList<QByteArray> outbox;
        bool sending = false;
    };
    struct Faults {
        bool refused = false; // SUBSCRIBE answered 503
        bool silent = false;  // subscriptions taken, events never sent
        bool gap = false;     // the next event skips a SEQ, once
    };

    explicit FakeEvents(Body body, QObject *parent = nullptr);
    static bool isEventPath(const QString &path);

    // SUBSCRIBE (new or a renewal) and UNSUBSCRIBE at `host`.
    Response handle(const QString &host, const Request &request);
    // Sends every subscriber what changed since its last event.
    void publish();
    // Every subscription lapses at once, as when speakers restart.
    void lapse();

    // Milliseconds on the speakers' clock: subscriptions lapse by it.
    std::function<qint64()> now;
    int grantedSeconds = 1800;
    QHash<QString, Faults> faults; // by speaker host
    std::vector<std::shared_ptr<Subscription>> subscriptions;
    int sent = 0;     // NOTIFY requests answered
    int renewals = 0; // SUBSCRIBE requests that renewed a subscription

private:
    void send(const std::shared_ptr<Subscription> &s, const QString &body);
    void pump(const std::shared_ptr<Subscription> &s);
    void expire();

    Body m_body;
    int m_next = 0;
};

} // namespace velotte::fake
