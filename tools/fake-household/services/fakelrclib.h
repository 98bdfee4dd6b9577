#pragma once

#include "kit/fakehttpserver.h"

#include <QList>
#include <QString>

#include <optional>

namespace velotte::fake {

// One song as the fake lyric services know it. Each service holds the
// songs it has, under the names it uses.
struct FakeLyricSong {
    QString title;
    QString artist;
    QString album;
    double seconds = 0;
    QString synced; // LRC text; empty: none
    QString plain;
    bool instrumental = false;
};

// LRCLIB: "/api/search?track_name=…&artist_name=…" answers a list of hits
// whose names contain the searched words. Faults can be injected.
class FakeLrclib : public QObject {
    Q_OBJECT
public:
    explicit FakeLrclib(QObject *parent = nullptr);
    bool listen(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0) { return m_server.listen(address, port); }
    QUrl baseUrl() const { return m_server.baseUrl(); }

    // The catalogue every fake shares: the fake speakers' queue, an album of
    // Mandopop in Traditional and Simplified names, and a few oddities.
    static QList<FakeLyricSong> library();

    QList<FakeLyricSong> songs;
    // The next `busyCount` searches answer `busyStatus` with this "Retry-After".
    int busyCount = 0;
    int busyStatus = 429;
    QByteArray retryAfter = "3";
    bool malformed = false;
    int delayMs = 0;
    QList<Request> requests;

private:
    Response handle(const Request &request);
    HttpServer m_server;
};

} // namespace velotte::fake
