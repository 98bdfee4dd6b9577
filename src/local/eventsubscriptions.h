#pragma once

#include "eventfailure.h"
#include "eventlistener.h"

#include "core/cancel.h"
#include "core/clock.h"
#include "core/http.h"

#include <QCoroTask>
#include <QObject>

#include <memory>
#include <optional>
#include <vector>

namespace velotte {

// One service of one speaker to hear from.
struct EventSource {
    QString host;
    EventService service = EventService::transport;
    bool operator==(const EventSource &) const = default;
};

// The speakers' updates, subscribed to and kept: SUBSCRIBE with a callback
// to the listener, renewed with the SID before it lapses, taken out afresh
// when a renewal is refused or the subscription lapsed, and UNSUBSCRIBE
// when a source is no longer followed. While every subscription holds,
// reading by asking can slow down; `failure` says why it cannot.
class EventSubscriptions : public QObject {
    Q_OBJECT
public:
    static constexpr std::chrono::seconds asked{1800};
    // Speakers send the first event right after the subscription.
    static constexpr std::chrono::seconds firstEventWait{5};

    EventSubscriptions(HttpTransport &transport, Clock &clock, quint16 port = EventListener::defaultPort, QObject *parent = nullptr);
    ~EventSubscriptions() override;

    // Follows exactly these sources from now: the ones no longer wanted are
    // ended, the new ones taken out.
    void follow(const QList<EventSource> &sources);
    // Ends every subscription and waits for the speakers' answers (on exit).
    QCoro::Task<void> stop();
    // Takes out a subscription to the topology of `host` and ends it: none
    // when its events reach this computer, else why not. Replaces whatever
    // was followed.
    QCoro::Task<std::optional<EventFailure>> probe(QString host);

    // Every followed source has a subscription whose first event came through.
    bool holding() const;
    // Why a followed source sends nothing; none when none failed.
    std::optional<EventFailure> failure() const;
    EventListener &listener() { return m_listener; }

Q_SIGNALS:
    void changed(const velotte::SpeakerEvent &event);
    // Events were lost: read what `service` of `host` says once.
    void missed(const QString &host, velotte::EventService service);
    void holdingChanged(bool holding);
    void failureChanged();

private:
    struct Subscription;
    using Shared = std::shared_ptr<Subscription>;

    QCoro::Task<void> run(Shared s);
    QCoro::Task<bool> subscribe(Shared s);
    QCoro::Task<bool> renew(Shared s);
    static QCoro::Task<void> unsubscribe(HttpTransport &transport, EventSource source, QString sid);
    void end(const Shared &s, std::vector<QCoro::Task<void>> *ends);
    void heard(const QString &sid);
    void setFailure(const Shared &s, std::optional<EventFailure> failure);
    void update();

    HttpTransport &m_transport;
    Clock &m_clock;
    EventListener m_listener;
    QList<Shared> m_subscriptions;
    bool m_holding = false;
};

} // namespace velotte
