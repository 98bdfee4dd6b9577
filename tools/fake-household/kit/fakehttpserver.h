#pragma once

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QPair>
#include <QPointer>
#include <QTcpServer>
#include <QUrl>

#include <functional>

class QTcpSocket;

namespace velotte::fake {

struct Request {
    QByteArray method;
    QByteArray target; // path and query as sent
    QUrl url;          // target parsed against http://host
    QList<QPair<QByteArray, QByteArray>> headers;
    QByteArray body;
    QHostAddress local; // the address the client reached

    QByteArray header(QByteArrayView name) const;
    QString path() const { return url.path(); }
};

struct Response {
    int status = 200;
    QByteArray body;
    QList<QPair<QByteArray, QByteArray>> headers;
    int delayMs = 0;       // answer late
    bool noAnswer = false; // keep the connection open and never answer
    bool hangUp = false;   // close the connection without a reply

    static Response json(const QByteArray &body, int status = 200);
    static Response text(const QByteArray &body, const QByteArray &type, int status = 200);
    Response &header(const QByteArray &name, const QByteArray &value)
    {
        headers.append(qMakePair(name, value));
        return *this;
    }
};

// A small HTTP/1.1 server for the fakes: Content-Length bodies, keep-alive,
// per-request latency and faults. Loopback only.
class HttpServer : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<Response(const Request &)>;

    explicit HttpServer(Handler handler, QObject *parent = nullptr);
    bool listen(const QHostAddress &address, quint16 port = 0);
    quint16 port() const;
    QHostAddress address() const;
    QUrl baseUrl() const; // http://address:port
    int requestCount() const { return m_count; }

private:
    void onConnection();
    void onReadable(QTcpSocket *socket);
    void answer(QTcpSocket *socket, const Response &response, bool head);

    Handler m_handler;
    QTcpServer m_server;
    int m_count = 0;
};

QByteArray reasonPhrase(int status);

} // namespace velotte::fake
