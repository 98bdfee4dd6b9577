#include "fakehttpserver.h"

#include <QTcpSocket>
#include <QTimer>

namespace velotte::fake {

QByteArray Request::header(QByteArrayView name) const
{
    for (const auto &[key, value] : headers) {
        if (key.compare(name, Qt::CaseInsensitive) == 0)
            return value;
    }
    return {};
}

Response Response::json(const QByteArray &body, int status)
{
    Response r;
    r.status = status;
    r.body = body;
    r.headers.append(qMakePair(QByteArray("Content-Type"), QByteArray("application/json")));
    return r;
}

Response Response::text(const QByteArray &body, const QByteArray &type, int status)
{
    Response r;
    r.status = status;
    r.body = body;
    r.headers.append(qMakePair(QByteArray("Content-Type"), type));
    return r;
}

QByteArray reasonPhrase(int status)
{
    switch (status) {
    case 200: return "OK";
    case 201: return "Created";
    case 204: return "No Content";
    case 302: return "Found";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 405: return "Method Not Allowed";
    case 410: return "Gone";
    case 429: return "Too Many Requests";
    case 500: return "Internal Server Error";
    case 501: return "Not Implemented";
    case 503: return "Service Unavailable";
    default: return "Status";
    }
}

HttpServer::HttpServer(Handler handler, QObject *parent) : QObject(parent), m_handler(std::move(handler))
{
    connect(&m_server, &QTcpServer::newConnection, this, &HttpServer::onConnection);
}

bool HttpServer::listen(const QHostAddress &address, quint16 port) { return m_server.listen(address, port); }
quint16 HttpServer::port() const { return m_server.serverPort(); }
QHostAddress HttpServer::address() const { return m_server.serverAddress(); }

QUrl HttpServer::baseUrl() const
{
    QUrl url;
    url.setScheme(QStringLiteral("http"));
    url.setHost(address().toString());
    url.setPort(port());
    return url;
}

void HttpServer::onConnection()
{
    while (QTcpSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onReadable(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
}

void HttpServer::onReadable(QTcpSocket *socket)
{
    // Requests on one connection are answered in order; a buffered partial
    // request waits for the rest.
    QByteArray buffer = socket->property("buffer").toByteArray() + socket->readAll();
    for (;;) {
        const int headerEnd = buffer.indexOf("\r\n\r\n");
        if (headerEnd < 0)
            break;
        const QList<QByteArray> lines = buffer.left(headerEnd).split('\n');
        const QList<QByteArray> first = lines.value(0).trimmed().split(' ');
        Request request;
        request.method = first.value(0);
        request.target = first.value(1);
        request.local = socket->localAddress();
        qint64 length = 0;
        for (int i = 1; i < lines.size(); ++i) {
            const QByteArray line = lines[i].trimmed();
            const int colon = line.indexOf(':');
            if (colon <= 0)
                continue;
            const QByteArray name = line.left(colon).trimmed();
            const QByteArray value = line.mid(colon + 1).trimmed();
            request.headers.append({name, value});
            if (name.compare("content-length", Qt::CaseInsensitive) == 0)
                length = value.toLongLong();
        }
        if (buffer.size() < headerEnd + 4 + length)
            break;
        request.body = buffer.mid(headerEnd + 4, length);
        buffer.remove(0, headerEnd + 4 + length);
        request.url = QUrl(QStringLiteral("http://fake") + QString::fromUtf8(request.target));
        ++m_count;

        const Response response = m_handler(request);
        const bool head = request.method == "HEAD";
        if (response.noAnswer)
            continue;
        if (response.delayMs > 0) {
            QPointer<QTcpSocket> guard(socket);
            QTimer::singleShot(response.delayMs, this, [this, guard, response, head] {
                if (guard)
                    answer(guard, response, head);
            });
        } else {
            answer(socket, response, head);
        }
    }
    socket->setProperty("buffer", buffer);
}

void HttpServer::answer(QTcpSocket *socket, const Response &response, bool head)
{
    if (response.hangUp) {
        socket->abort();
        return;
    }
    QByteArray out = "HTTP/1.1 " + QByteArray::number(response.status) + ' ' + reasonPhrase(response.status) + "\r\n";
    bool hasLength = false;
    for (const auto &[name, value] : response.headers) {
        out += name + ": " + value + "\r\n";
        if (name.compare("content-length", Qt::CaseInsensitive) == 0)
            hasLength = true;
    }
    if (!hasLength)
        out += "Content-Length: " + QByteArray::number(response.body.size()) + "\r\n";
    out += "Connection: keep-alive\r\n\r\n";
    if (!head)
        out += response.body;
    socket->write(out);
}

} // namespace velotte::fake
