#pragma once

#include "kit/fakehttpserver.h"

#include <QList>
#include <QString>

namespace velotte::fake {

// The iTunes Search API: "/search" for songs and albums, "/lookup" by id.
// Chinese entries carry a Traditional and a Simplified name; the store's
// country (or "lang") chooses which one a reply shows.
class FakeItunes : public QObject {
    Q_OBJECT
public:
    struct Song {
        qint64 trackId = 0;
        QString name;       // as the Taiwan and US stores show it
        QString simplified; // as the China store shows it; empty: same
        int trackNumber = 1;
        qint64 millis = 0;
    };
    struct Album {
        qint64 collectionId = 0;
        qint64 artistId = 0;
        QString artist;
        QString artistSimplified;
        QString name;
        QString nameSimplified;
        QString genre;
        QString releaseDate; // ISO 8601
        QString artwork;     // artworkUrl100
        QList<Song> songs;
    };

    explicit FakeItunes(QObject *parent = nullptr);
    bool listen(const QHostAddress &address = QHostAddress::LocalHost, quint16 port = 0) { return m_server.listen(address, port); }
    QUrl baseUrl() const { return m_server.baseUrl(); }
    int requestCount() const { return m_server.requestCount(); }

    QList<Album> albums;
    // Faults for tests: every reply gets this status (0: none), or a body
    // that is not JSON, or arrives this late.
    int failStatus = 0;
    bool malformed = false;
    int delayMs = 0;
    QList<Request> requests;

private:
    Response handle(const Request &request);
    HttpServer m_server;
};

} // namespace velotte::fake
