#pragma once

#include "core/settings.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velotte::test {

// The lyric and catalog services at loopback ports the tests' transports
// answer by; pictures come from the next port. Kugou's address ends in a
// slash, as a configured one may.
enum ServicePort { lrclibPort = 7101, neteasePort, kugouPort, itunesPort, artPort };

inline ServiceAddresses scriptedServices()
{
    ServiceAddresses a;
    a.lrclib = QUrl(QStringLiteral("http://127.0.0.1:7101"));
    a.netease = QUrl(QStringLiteral("http://127.0.0.1:7102"));
    a.kugou = QUrl(QStringLiteral("http://127.0.0.1:7103/"));
    a.itunes = QUrl(QStringLiteral("http://127.0.0.1:7104"));
    return a;
}

// One LRCLIB search hit; empty texts are null, as LRCLIB sends them.
inline QJsonObject lrclibHit(const QString &title, const QString &artist, QJsonValue seconds, const QString &synced, const QString &plain = {},
                             bool instrumental = false)
{
    QJsonObject o{{QStringLiteral("trackName"), title}, {QStringLiteral("artistName"), artist}, {QStringLiteral("duration"), seconds},
                  {QStringLiteral("instrumental"), instrumental}};
    o.insert(QStringLiteral("syncedLyrics"), synced.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(synced));
    o.insert(QStringLiteral("plainLyrics"), plain.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(plain));
    return o;
}

inline QByteArray lrclibHits(const QJsonArray &hits) { return QJsonDocument(hits).toJson(QJsonDocument::Compact); }

} // namespace velotte::test
