#pragma once

#include "kit/fakehttpserver.h"

#include <QList>
#include <QString>
#include <QStringList>

namespace velotte::fake {

// NetEase Cloud Music: "/api/search/get" and "/api/song/lyric", names in
// Simplified script, tracking cookies on every answer.
class FakeNetEase : public QObject {
    Q_OBJECT
public:
    struct Song {
        qint64 id = 0;
        QString name;
        QStringList artists;
        QString album;
        qint64 millis = 0;
        QString lyric; // LRC; empty: the song has none
    };

    explicit FakeNetEase(QObject *parent = nullptr);
    bool listen(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0) { return m_server.listen(address, port); }
    QUrl baseUrl() const { return m_server.baseUrl(); }

    QList<Song> songs;
    int failStatus = 0;     // every answer gets this status
    bool malformed = false; // search answers that are not JSON
    QList<Request> requests;

private:
    Response handle(const Request &request);
    HttpServer m_server;
};

} // namespace velotte::fake
