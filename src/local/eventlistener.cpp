#include "eventlistener.h"

#include "eventfailure.h"

#include "core/logging.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace velotte {

using namespace Qt::Literals::StringLiterals;
using namespace std::chrono_literals;

namespace {
constexpr qsizetype largestHead = 16 * 1024;
constexpr int mostConnections = 64;
constexpr qsizetype mostEarly = 16;

QByteArray reason(int status)
{
    switch (status) {
    case 200: return "OK";
    case 400: return "Bad Request";
    case 405: return "Method Not Allowed";
    case 411: return "Length Required";
    case 412: return "Precondition Failed";
    case 413: return "Content Too Large";
    default: break;
    }
    return "Request Header Fields Too Large";
}

std::optional<quint32> decimal(const QByteArray &text)
{
    bool ok = false;
    const qulonglong value = text.toULongLong(&ok);
    if (!ok || text.isEmpty() || text.front() < '0' || text.front() > '9' || value > 0xFFFFFFFFull)
        return std::nullopt;
    return quint32(value);
}
} // namespace

struct EventListener::Connection {
    QByteArray buffer;
    bool answered = false;
    // Of a head that has been taken.
    qsizetype bodyStart = -1;
    qint64 length = 0;
    QString sid;
    quint32 seq = 0;
};

EventListener::EventListener(quint16 port, QObject *parent) : QObject(parent), m_port(port) {}

EventListener::~EventListener()
{
    for (auto it = m_connections.begin(); it != m_connections.end(); ++it) {
        it.key()->disconnect(this);
        delete it.value();
    }
}

std::optional<QHostAddress> EventListener::addressTowards(const QString &host)
{
    QHostAddress target;
    if (!target.setAddress(host) || target.protocol() != QAbstractSocket::IPv4Protocol)
        return std::nullopt;
    // Connecting a datagram socket sends nothing; it only picks the route.
    const int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0)
        return std::nullopt;
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(1400);
    to.sin_addr.s_addr = htonl(target.toIPv4Address());
    std::optional<QHostAddress> out;
    sockaddr_in from{};
    socklen_t length = sizeof from;
    if (::connect(fd, reinterpret_cast<const sockaddr *>(&to), sizeof to) == 0
        && ::getsockname(fd, reinterpret_cast<sockaddr *>(&from), &length) == 0)
        out = QHostAddress(ntohl(from.sin_addr.s_addr));
    ::close(fd);
    return out;
}

QUrl EventListener::callback(const QString &host)
{
    const std::optional<QHostAddress> address = addressTowards(host);
    if (!address)
        throw EventFailure::noRoute(host);
    QTcpServer *&server = m_servers[address->toString()];
    if (!server) {
        auto *fresh = new QTcpServer(this);
        if (!fresh->listen(*address, m_port)) {
            qCWarning(lcLocal) << "cannot take events on" << address->toString() << "port" << m_port << ":" << fresh->errorString();
            delete fresh;
            m_servers.remove(address->toString());
            throw EventFailure::portTaken(m_port);
        }
        m_port = fresh->serverPort(); // every address on the port the first one got
        connect(fresh, &QTcpServer::newConnection, this, [this, fresh] { onConnection(fresh); });
        server = fresh;
    }
    QUrl url;
    url.setScheme(u"http"_s);
    url.setHost(address->toString());
    url.setPort(m_port);
    url.setPath(u"/events"_s);
    return url;
}

void EventListener::expect(const QString &host) { ++m_expecting[host]; }

void EventListener::stopExpecting(const QString &host)
{
    if (--m_expecting[host] > 0)
        return;
    m_expecting.remove(host);
    // What came early and was never claimed came for no subscription of ours.
    m_early.removeIf([&](const Early &e) { return e.host == host && !m_subscriptions.contains(e.sid); });
}

void EventListener::accept(const QString &sid, const QString &host, EventService service)
{
    m_subscriptions.insert(sid, Subscription{host, service});
    QList<Early> mine;
    m_early.removeIf([&](const Early &e) {
        if (e.sid != sid || e.host != host)
            return false;
        mine.append(e);
        return true;
    });
    std::sort(mine.begin(), mine.end(), [](const Early &a, const Early &b) { return a.seq < b.seq; });
    for (const Early &e : std::as_const(mine))
        deliver(e.sid, e.seq, e.body);
}

void EventListener::forget(const QString &sid)
{
    m_subscriptions.remove(sid);
    m_early.removeIf([&](const Early &e) { return e.sid == sid; });
}

void EventListener::onConnection(QTcpServer *server)
{
    while (QTcpSocket *socket = server->nextPendingConnection()) {
        if (m_connections.size() >= mostConnections) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        socket->setParent(this);
        // Bytes wait in the system, not here, until they are wanted.
        socket->setReadBufferSize(64 * 1024);
        m_connections.insert(socket, new Connection);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadable(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            delete m_connections.take(socket);
            socket->deleteLater();
        });
        // A speaker sends a whole event at once; a connection that dawdles is dropped.
        QTimer::singleShot(10s, socket, [socket] { socket->abort(); });
    }
}

int EventListener::check(Connection &c, const QHostAddress &peer)
{
    const qsizetype end = c.buffer.indexOf("\r\n\r\n");
    const QList<QByteArray> lines = c.buffer.left(end).split('\n');
    const QList<QByteArray> request = lines.value(0).trimmed().split(' ');
    if (request.value(0) != "NOTIFY")
        return 405;
    QHash<QByteArray, QByteArray> fields;
    for (qsizetype i = 1; i < lines.size(); ++i) {
        const qsizetype colon = lines[i].indexOf(':');
        if (colon > 0)
            fields.insert(lines[i].left(colon).trimmed().toLower(), lines[i].mid(colon + 1).trimmed());
    }
    if (!fields.contains("nt") || !fields.contains("nts") || !fields.contains("sid"))
        return 400;
    if (fields.value("nt") != "upnp:event" || fields.value("nts") != "upnp:propchange")
        return 412;
    c.sid = QString::fromLatin1(fields.value("sid"));
    const auto known = m_subscriptions.constFind(c.sid);
    const auto from = [&peer](const QString &host) { return QHostAddress(host).isEqual(peer, QHostAddress::TolerantConversion); };
    const bool expected = std::any_of(m_expecting.keyBegin(), m_expecting.keyEnd(), from);
    if (known != m_subscriptions.constEnd() ? !from(known->host) : !expected)
        return 412;
    const auto seq = decimal(fields.value("seq"));
    if (!seq)
        return 400;
    c.seq = *seq;
    if (fields.contains("transfer-encoding") || !fields.contains("content-length"))
        return 411;
    bool ok = false;
    c.length = fields.value("content-length").toLongLong(&ok);
    if (!ok || c.length < 0)
        return 400;
    if (c.length > largestBody)
        return 413;
    c.bodyStart = end + 4;
    return 0;
}

void EventListener::onReadable(QTcpSocket *socket)
{
    Connection *c = m_connections.value(socket);
    if (!c)
        return;
    if (c->answered) {
        socket->readAll(); // whatever follows an answer is not read into anything
        return;
    }
    c->buffer += socket->readAll();
    if (c->bodyStart < 0) {
        if (c->buffer.indexOf("\r\n\r\n") < 0) {
            if (c->buffer.size() > largestHead)
                answer(socket, 431);
            return;
        }
        // Refused as soon as the head says so: a body too large is never read.
        if (const int status = check(*c, socket->peerAddress())) {
            qCDebug(lcLocal) << "event from" << socket->peerAddress().toString() << "refused with" << status;
            answer(socket, status);
            return;
        }
    }
    if (c->buffer.size() < c->bodyStart + c->length)
        return;
    const QByteArray body = c->buffer.mid(c->bodyStart, c->length);
    const QString sid = c->sid;
    const quint32 seq = c->seq;
    answer(socket, 200);
    if (m_subscriptions.contains(sid))
        deliver(sid, seq, body);
    else if (m_early.size() < mostEarly)
        m_early.append(Early{sid, socket->peerAddress().toString(), seq, body});
}

void EventListener::answer(QTcpSocket *socket, int status)
{
    if (Connection *c = m_connections.value(socket)) {
        c->answered = true;
        c->buffer.clear();
    }
    socket->write("HTTP/1.1 " + QByteArray::number(status) + ' ' + reason(status) + "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n");
    socket->disconnectFromHost();
}

void EventListener::deliver(const QString &sid, quint32 seq, const QByteArray &body)
{
    const auto it = m_subscriptions.find(sid);
    if (it == m_subscriptions.end())
        return;
    const QString host = it->host;
    const EventService service = it->service;
    // Older than one already taken (SEQ counts on and wraps to 1): it would undo newer state.
    const bool stale = qint32(seq - it->next) < 0;
    const bool gap = !stale && seq != it->next;
    if (!stale)
        it->next = seq == 0xFFFFFFFFu ? 1 : seq + 1;
    if (!stale) {
        if (std::optional<SpeakerEvent> event = SpeakerEvent::read(service, body)) {
            event->host = host;
            Q_EMIT received(*event);
        } else {
            qCDebug(lcLocal) << "unreadable event from" << host;
        }
        if (gap)
            Q_EMIT missed(host, service);
    }
    Q_EMIT heard(sid);
}

} // namespace velotte
