#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace velotte {

// The reply bodies of the lyric and catalog services. Absent fields are
// empty or unknown; a body of the wrong shape throws DecodeError.

struct LyricHit {
    QString trackName;
    QString artistName;
    std::optional<double> duration; // seconds
    bool instrumental = false;
    QString plainLyrics;
    QString syncedLyrics;
};
QList<LyricHit> decodeLyricHits(const QByteArray &body);

struct NetEaseSearch {
    struct Song {
        qint64 id = 0;
        QString name;
        qint64 duration = 0; // milliseconds
        QStringList artists;
    };
    int code = 0;
    QList<Song> songs;
    static NetEaseSearch decode(const QByteArray &body);
};

struct NetEaseLyric {
    int code = 0;
    QString lyric;
    static NetEaseLyric decode(const QByteArray &body);
};

struct KugouSearch {
    struct Candidate {
        QString id;
        QString accesskey;
        QString song;
        QString singer;
        qint64 duration = 0; // milliseconds
    };
    int status = 0;
    QList<Candidate> candidates;
    static KugouSearch decode(const QByteArray &body);
};

struct KugouLyric {
    int status = 0;
    QString content; // base64 of the LRC text
    static KugouLyric decode(const QByteArray &body);
};

struct ItunesSong {
    qint64 trackId = 0;
    QString trackName;
    QString artistName;
    QString collectionName;
    qint64 trackTimeMillis = 0;
    QString artworkUrl100;
    QString wrapperType;
    QString kind;
};

struct ItunesSearch {
    QList<ItunesSong> results;
    static ItunesSearch decode(const QByteArray &body);
};

} // namespace velotte
