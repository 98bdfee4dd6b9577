#include "eventsubscriptions.h"

#include "core/logging.h"
#include "core/stillcurrent.h"
#include "core/wakeup.h"

#include <QRegularExpression>

namespace velotte {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {
constexpr auto requestTimeout = 4s;

HttpRequest eventRequest(const QByteArray &method, const EventSource &source)
{
    HttpRequest r;
    r.method = method;
    r.url = QUrl(u"http://"_s + source.host + u":1400"_s + eventPath(source.service), QUrl::StrictMode);
    r.timeout = requestTimeout;
    r.maxBytes = 64 * 1024;
    return r;
}

// "Second-1800"; speakers may grant less than asked. Anything else: as asked.
std::chrono::seconds granted(const QByteArray &header)
{
    static const QRegularExpression form(u"^Second-(\\d{1,6})$"_s, QRegularExpression::CaseInsensitiveOption);
    const auto m = form.match(QString::fromLatin1(header.trimmed()));
    const int seconds = m.hasMatch() ? m.captured(1).toInt() : int(EventSubscriptions::asked.count());
    return std::chrono::seconds(std::clamp(seconds, 1, int(EventSubscriptions::asked.count())));
}

// Renewed well before it lapses: a fifth of the time, at least ten seconds.
Millis renewalDelay(std::chrono::seconds timeout)
{
    return std::max<Millis>(1s, timeout - std::max<std::chrono::seconds>(timeout / 5, 10s));
}

template<typename T>
void detach(QCoro::Task<T> &&task)
{
    auto running = std::move(task);
}
} // namespace

struct EventSubscriptions::Subscription {
    EventSource source;
    QString sid;
    std::chrono::seconds timeout = asked;
    bool heard = false; // the first event since the subscription was taken out
    std::optional<EventFailure> failure;
    CancelToken cancel;
    CancelToken firstEvent; // cancelled by that first event
    Wakeup settled;         // the first attempt has come to a result
};

EventSubscriptions::EventSubscriptions(HttpTransport &transport, Clock &clock, quint16 port, QObject *parent)
    : QObject(parent), m_transport(transport), m_clock(clock), m_listener(port)
{
    connect(&m_listener, &EventListener::received, this, &EventSubscriptions::changed);
    connect(&m_listener, &EventListener::missed, this, &EventSubscriptions::missed);
    connect(&m_listener, &EventListener::heard, this, &EventSubscriptions::heard);
}

EventSubscriptions::~EventSubscriptions()
{
    // Tasks still running see their cancellation before anything else.
    for (const Shared &s : std::as_const(m_subscriptions)) {
        s->cancel.cancel();
        s->settled.fire();
    }
}

void EventSubscriptions::follow(const QList<EventSource> &sources)
{
    QList<Shared> kept;
    for (const Shared &s : std::as_const(m_subscriptions)) {
        if (sources.contains(s->source))
            kept.append(s);
        else
            end(s, nullptr);
    }
    m_subscriptions = kept;
    for (const EventSource &source : sources) {
        const bool known = std::any_of(m_subscriptions.begin(), m_subscriptions.end(), [&](const Shared &s) { return s->source == source; });
        if (known)
            continue;
        auto s = std::make_shared<Subscription>();
        s->source = source;
        m_subscriptions.append(s);
        detach(run(s));
    }
    update();
    Q_EMIT failureChanged();
}

void EventSubscriptions::end(const Shared &s, std::vector<QCoro::Task<void>> *ends)
{
    s->cancel.cancel();
    s->settled.fire();
    if (s->sid.isEmpty())
        return;
    m_listener.forget(s->sid);
    auto task = unsubscribe(m_transport, s->source, s->sid);
    if (ends)
        ends->push_back(std::move(task));
    else
        detach(std::move(task));
    s->sid.clear();
}

QCoro::Task<void> EventSubscriptions::stop()
{
    std::vector<QCoro::Task<void>> ends;
    for (const Shared &s : std::as_const(m_subscriptions))
        end(s, &ends);
    m_subscriptions.clear();
    update();
    for (auto &task : ends)
        co_await task;
}

QCoro::Task<std::optional<EventFailure>> EventSubscriptions::probe(QString host)
{
    const EventSource source{host, EventService::topology};
    follow({source});
    const Shared s = m_subscriptions.value(0);
    const StillCurrent current(this);
    co_await s->settled;
    if (!current)
        co_return std::nullopt;
    const std::optional<EventFailure> failure = s->failure;
    co_await stop();
    co_return failure;
}

bool EventSubscriptions::holding() const { return m_holding; }

std::optional<EventFailure> EventSubscriptions::failure() const
{
    for (const Shared &s : m_subscriptions) {
        if (s->failure)
            return s->failure;
    }
    return std::nullopt;
}

void EventSubscriptions::update()
{
    const bool holding = !m_subscriptions.isEmpty()
        && std::all_of(m_subscriptions.begin(), m_subscriptions.end(), [](const Shared &s) { return !s->sid.isEmpty() && s->heard; });
    if (holding == m_holding)
        return;
    m_holding = holding;
    Q_EMIT holdingChanged(holding);
}

void EventSubscriptions::setFailure(const Shared &s, std::optional<EventFailure> failure)
{
    if (failure)
        qCInfo(lcLocal) << "no updates from" << s->source.host << ":" << failure->sentence();
    s->failure = std::move(failure);
    update();
    Q_EMIT failureChanged();
}

void EventSubscriptions::heard(const QString &sid)
{
    for (const Shared &s : std::as_const(m_subscriptions)) {
        if (s->sid != sid || s->heard)
            continue;
        s->heard = true;
        s->firstEvent.cancel();
        setFailure(s, std::nullopt);
    }
}

QCoro::Task<void> EventSubscriptions::run(Shared s)
{
    const StillCurrent current(this);
    auto over = [&] { return s->cancel.isCancelled() || !current; };
    auto backoff = 30s;
    try {
        while (!over()) {
            bool renewed = false;
            if (!s->sid.isEmpty())
                renewed = co_await renew(s);
            if (over())
                co_return;
            if (!renewed) {
                if (!co_await subscribe(s)) {
                    if (over())
                        co_return;
                    s->settled.fire();
                    co_await m_clock.sleep(backoff, s->cancel);
                    backoff = std::min<std::chrono::seconds>(backoff * 2, 600s);
                    continue;
                }
                backoff = 30s;
                if (!s->heard) {
                    // Linked, so that ending the subscription ends the wait too.
                    CancelGuard link(s->cancel, [wait = s->firstEvent]() mutable { wait.cancel(); });
                    co_await m_clock.sleep(firstEventWait, s->firstEvent);
                }
                if (over())
                    co_return;
                if (!s->heard)
                    setFailure(s, EventFailure::unreachable(m_listener.port()));
                s->settled.fire();
            }
            co_await m_clock.sleep(renewalDelay(s->timeout), s->cancel);
        }
    } catch (const Cancelled &) {
    }
}

QCoro::Task<bool> EventSubscriptions::subscribe(Shared s)
{
    QUrl callback;
    try {
        callback = m_listener.callback(s->source.host);
    } catch (const EventFailure &f) {
        setFailure(s, f);
        co_return false;
    }
    HttpRequest r = eventRequest("SUBSCRIBE", s->source);
    r.setHeader("CALLBACK", '<' + callback.toEncoded() + '>');
    r.setHeader("NT", "upnp:event");
    r.setHeader("TIMEOUT", "Second-" + QByteArray::number(qint64(asked.count())));
    s->firstEvent = CancelToken();
    s->heard = false;
    // The first event may overtake the answer that names its SID.
    const QPointer<EventListener> listener(&m_listener);
    const QString host = s->source.host;
    m_listener.expect(host);
    const StillCurrent current(this);
    std::optional<SpeakerFault> fault;
    HttpResponse response;
    try {
        response = co_await m_transport.send(std::move(r), s->cancel);
        fault = SpeakerFault::of(response);
    } catch (const Cancelled &) {
    } catch (const std::exception &e) {
        qCDebug(lcLocal) << "SUBSCRIBE to" << host << "failed:" << e.what();
        fault = SpeakerFault::noAnswer();
    }
    const QString sid = QString::fromLatin1(response.header("SID").trimmed());
    if (!fault && (response.status != 200 || sid.isEmpty()))
        fault = SpeakerFault::refused(response.status);
    if (s->cancel.isCancelled() || !current) {
        if (listener)
            listener->stopExpecting(host);
        co_return false;
    }
    if (fault) {
        m_listener.stopExpecting(host);
        setFailure(s, EventFailure::speaker(host, *fault));
        co_return false;
    }
    s->sid = sid;
    s->timeout = granted(response.header("TIMEOUT"));
    m_listener.accept(sid, host, s->source.service);
    m_listener.stopExpecting(host);
    co_return true;
}

QCoro::Task<bool> EventSubscriptions::renew(Shared s)
{
    HttpRequest r = eventRequest("SUBSCRIBE", s->source);
    r.setHeader("SID", s->sid.toLatin1());
    r.setHeader("TIMEOUT", "Second-" + QByteArray::number(qint64(asked.count())));
    const StillCurrent current(this);
    HttpResponse response;
    try {
        response = co_await m_transport.send(std::move(r), s->cancel);
    } catch (const Cancelled &) {
        co_return false;
    } catch (const std::exception &e) {
        qCDebug(lcLocal) << "renewal to" << s->source.host << "failed:" << e.what();
    }
    if (s->cancel.isCancelled() || !current)
        co_return false;
    if (response.status == 200) {
        s->timeout = granted(response.header("TIMEOUT"));
        co_return true;
    }
    // Lapsed (412) or refused: taken out afresh, with a first event to wait for.
    qCInfo(lcLocal) << "subscription to" << s->source.host << "lapsed; taking it out again";
    m_listener.forget(s->sid);
    s->sid.clear();
    s->heard = false;
    update();
    co_return false;
}

QCoro::Task<void> EventSubscriptions::unsubscribe(HttpTransport &transport, EventSource source, QString sid)
{
    HttpRequest r = eventRequest("UNSUBSCRIBE", source);
    r.setHeader("SID", sid.toLatin1());
    try {
        co_await transport.send(std::move(r));
    } catch (const std::exception &e) {
        // A speaker that does not hear it lets the subscription lapse.
        qCDebug(lcLocal) << "UNSUBSCRIBE to" << source.host << "failed:" << e.what();
    }
}

} // namespace velotte
