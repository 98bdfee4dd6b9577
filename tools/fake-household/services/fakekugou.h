#pragma once

#include "kit/fakehttpserver.h"

#include <QList>
#include <QString>

namespace velotte::fake {

// The Kugou lyric service: "/search" for candidates and "/download" with the
// LRC text in base64.
class FakeKugou : public QObject {
    Q_OBJECT
public:
    struct Candidate {
        QString id;
        QString accesskey;
        QString song;
        QString singer;
        qint64 millis = 0;
        QByteArray content; // as sent: normally base64 of UTF-8 LRC
    };

    explicit FakeKugou(QObject *parent = nullptr);
    bool listen(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0) { return m_server.listen(address, port); }
    QUrl baseUrl() const { return m_server.baseUrl(); }

    QList<Candidate> candidates;
    int failStatus = 0;
    bool malformed = false;
    QList<Request> requests;

private:
    Response handle(const Request &request);
    HttpServer m_server;
};

} // namespace velotte::fake
