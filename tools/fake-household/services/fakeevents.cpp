#include "fakeevents.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTimer>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;

namespace {
Response status(int code) { return Response::text({}, "text/html", code).header("Server", "Linux UPnP/1.0 Sonos/80.1-55240 (ZPS1)"); }
} // namespace

FakeEvents::FakeEvents(Body body, QObject *parent) : QObject(parent), m_body(std::move(body))
{
    auto clock = std::make_shared<QElapsedTimer>();
    clock->start();
    now = [clock] { return clock->elapsed(); };
}

bool FakeEvents::isEventPath(const QString &path)
{
    static const QStringList paths{u"/MediaRenderer/AVTransport/Event"_s, u"/MediaRenderer/RenderingControl/Event"_s, u"/ZoneGroupTopology/Event"_s,
                                   u"/MediaRenderer/Queue/Event"_s};
    return paths.contains(path);
}

void FakeEvents::expire()
{
    const qint64 t = now();
    std::erase_if(subscriptions, [t](const auto &s) { return s->expires < t; });
}

Response FakeEvents::handle(const QString &host, const Request &request)
{
    expire();
    const QString path = request.path();
    const QString sid = QString::fromLatin1(request.header("SID"));
    const QString callback = QString::fromLatin1(request.header("CALLBACK"));
    auto held = std::find_if(subscriptions.begin(), subscriptions.end(), [&](const auto &s) { return s->sid == sid && s->host == host && s->path == path; });
    if (!isEventPath(path))
        return status(404);
    if (request.method == "UNSUBSCRIBE") {
        if (held == subscriptions.end())
            return status(412);
        subscriptions.erase(held);
        return status(200);
    }
    if (request.method != "SUBSCRIBE")
        return status(405);
    static const QRegularExpression timeout(u"^Second-(\\d+)$"_s);
    const auto asked = timeout.match(QString::fromLatin1(request.header("TIMEOUT")));
    const int seconds = asked.hasMatch() ? std::min(asked.captured(1).toInt(), grantedSeconds) : grantedSeconds;
    if (!sid.isEmpty()) {
        // A renewal names its SID and nothing else.
        if (!callback.isEmpty() || !request.header("NT").isEmpty())
            return status(400);
        if (held == subscriptions.end())
            return status(412); // lapsed, or never ours
        (*held)->expires = now() + seconds * 1000LL;
        ++renewals;
        return status(200).header("SID", sid.toLatin1()).header("TIMEOUT", "Second-" + QByteArray::number(seconds));
    }
    static const QRegularExpression first(u"<(http://[^>]+)>"_s);
    const auto url = first.match(callback);
    if (!url.hasMatch() || request.header("NT") != "upnp:event")
        return status(412);
    if (faults.value(host).refused)
        return status(503);
    auto s = std::make_shared<Subscription>();
    s->sid = u"uuid:RINCON_FAKE%1_sub%2"_s.arg(host.section(u'.', 3)).arg(++m_next, 10, 10, QLatin1Char('0'));
    s->host = host;
    s->path = path;
    s->callback = QUrl(url.captured(1));
    s->expires = now() + seconds * 1000LL;
    subscriptions.push_back(s);
    // The first event follows the answer, with everything the service shows.
    QTimer::singleShot(0, this, [this, weak = std::weak_ptr<Subscription>(s)] {
        if (const auto s = weak.lock())
            send(s, m_body(s->host, s->path));
    });
    return status(200).header("SID", s->sid.toLatin1()).header("TIMEOUT", "Second-" + QByteArray::number(seconds));
}

void FakeEvents::lapse() { subscriptions.clear(); }

void FakeEvents::publish()
{
    expire();
    for (const auto &s : subscriptions) {
        if (s->seq == 0 && s->last.isEmpty())
            continue; // its first event is still to go
        const QString body = m_body(s->host, s->path);
        if (body != s->last)
            send(s, body);
    }
}

void FakeEvents::send(const std::shared_ptr<Subscription> &s, const QString &body)
{
    s->last = body;
    Faults &f = faults[s->host];
    if (f.silent)
        return;
    if (f.gap) {
        f.gap = false;
        ++s->seq; // as if one was lost on the way
    }
    const QByteArray payload = body.toUtf8();
    QByteArray request = "NOTIFY " + s->callback.path(QUrl::FullyEncoded).toLatin1() + " HTTP/1.1\r\n";
    request += "HOST: " + s->callback.host().toLatin1() + ':' + QByteArray::number(s->callback.port()) + "\r\n";
    request += "CONTENT-TYPE: text/xml; charset=\"utf-8\"\r\n";
    request += "CONTENT-LENGTH: " + QByteArray::number(payload.size()) + "\r\n";
    request += "NT: upnp:event\r\nNTS: upnp:propchange\r\n";
    request += "SID: " + s->sid.toLatin1() + "\r\n";
    request += "SEQ: " + QByteArray::number(s->seq) + "\r\n\r\n";
    s->seq = s->seq == 0xFFFFFFFFu ? 1 : s->seq + 1;
    s->outbox.append(request + payload);
    pump(s);
}

void FakeEvents::pump(const std::shared_ptr<Subscription> &s)
{
    if (s->sending || s->outbox.isEmpty())
        return;
    s->sending = true;
    // From the speaker's own address, one request per connection, in order.
    auto *socket = new QTcpSocket(this);
    socket->bind(QHostAddress(s->host));
    auto reply = std::make_shared<QByteArray>();
    auto over = std::make_shared<bool>(false);
    auto done = [this, socket, s, reply, over] {
        if (*over)
            return;
        *over = true;
        s->sending = false;
        if (reply->startsWith("HTTP/1.1 200"))
            ++sent;
        s->outbox.removeFirst();
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater();
        pump(s);
    };
    connect(socket, &QTcpSocket::connected, this, [socket, s] { socket->write(s->outbox.first()); });
    connect(socket, &QTcpSocket::readyRead, this, [socket, reply, done] {
        *reply += socket->readAll();
        if (reply->contains("\r\n\r\n"))
            done();
    });
    connect(socket, &QTcpSocket::errorOccurred, this, done);
    QTimer::singleShot(5000, socket, done);
    socket->connectToHost(QHostAddress(s->callback.host()), quint16(s->callback.port()));
}

} // namespace velotte::fake
