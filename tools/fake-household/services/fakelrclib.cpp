#include "fakelrclib.h"

#include "kit/registry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;

namespace {

// LRC as found in the wild: a junk first line, metadata tags, an empty
// [by:], several tags on one line out of order, two- and three-digit
// fractions, a tag with no text and word timings.
const QString saltAndPepper = uR"(ÿþLRC exported
[ar:The Condiments]
[ti:Salt & Pepper]
[al:Kitchen Songs]
[by:]
[length: 3:21]
[00:12.40]Shake a little, shake it slow
[00:17.85]Every table needs the two of us
[00:23.10][01:31.10]Salt and pepper, side by side
[00:28.6]You bring the fire, I bring the tide
[00:34.20] 
[00:41.75]<00:41.75>Pass <00:42.10>it <00:42.40>down <00:42.90>the <00:43.20>line
[01:01.300]Grinding slowly through the night
[01:31.10]
[02:58.00]Salt and pepper, side by side
[03:05.72] 
)"_s;

const QString oliveOilPlain = u"Pour it slow, pour it gold\n\nEvery pan remembers what it's told\n  Olive oil blues\t\nOlive oil blues\n"_s;

const QString nightTrain = uR"([ti:夜车]
[ar:林晓风]
[00:00.00]夜车 - 林晓风
[00:15.30]窗外的灯一盏一盏熄灭
[00:21.80]我数着铁轨数着离别
[00:28.45]夜车开往没有名字的地方
[00:35.10]你的声音还在我耳边
)"_s;

const QString kite = uR"([00:10.00]風箏飛過了屋頂
[00:16.50]線還在我的手心
[00:23.00]如果風停了 你會不會回來
)"_s;

const QString kiteLive = uR"([00:20.00]（現場）風箏飛過了屋頂
)"_s;

QJsonObject hitJson(int id, const FakeLyricSong &song)
{
    QJsonObject o{{u"id"_s, id},
                  {u"name"_s, song.title},
                  {u"trackName"_s, song.title},
                  {u"artistName"_s, song.artist},
                  {u"albumName"_s, song.album},
                  {u"duration"_s, song.seconds},
                  {u"instrumental"_s, song.instrumental}};
    o.insert(u"plainLyrics"_s, song.plain.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(song.plain));
    o.insert(u"syncedLyrics"_s, song.synced.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(song.synced));
    return o;
}

} // namespace

QList<FakeLyricSong> FakeLrclib::library()
{
    return {
        {u"Salt & Pepper"_s, u"The Condiments"_s, u"Kitchen Songs"_s, 201.0, saltAndPepper, {}, false},
        // A live cut the duration rule must turn away.
        {u"Salt & Pepper"_s, u"The Condiments"_s, u"Live at the Diner"_s, 246.0, u"[00:05.00]Live crowd noise\n"_s, {}, false},
        {u"Clair de lune"_s, u"Claude Debussy"_s, u"."_s, 300.0, {}, {}, true},
        {u"Gymnopédie No.1"_s, u"Erik Satie"_s, u"None"_s, 185.0, {}, {}, true},
        {u"Olive Oil Blues"_s, u"The Condiments"_s, u"Kitchen Songs"_s, 234.0, {}, oliveOilPlain, false},
        {u"夜车"_s, u"林晓风"_s, u"晚风里的城市"_s, 276.0, nightTrain, {}, false},
        {u"風箏"_s, u"陳雨桐"_s, u"null"_s, 262.0, kiteLive, {}, false},
        {u"風箏"_s, u"陳雨桐"_s, u"風箏"_s, 219.5, kite, kite, false},
    };
}

FakeLrclib::FakeLrclib(QObject *parent) : QObject(parent), m_server([this](const Request &r) { return handle(r); }, this)
{
    songs = library();
}

Response FakeLrclib::handle(const Request &request)
{
    requests.append(request);
    Response r;
    if (request.path() != u"/api/search"_s) {
        r = Response::json(R"({"message":"Failed to find specified track","name":"TrackNotFound","statusCode":404})", 404);
    } else if (busyCount > 0) {
        --busyCount;
        r = Response::json(R"({"message":"Too many requests","name":"TooManyRequests","statusCode":429})", busyStatus);
        if (!retryAfter.isEmpty())
            r.header("Retry-After", retryAfter);
    } else if (malformed) {
        r = Response::json(R"([{"id":1,"trackName":"Salt & Pepper","artistName":)");
    } else {
        const QUrlQuery query(request.url);
        const QString title = query.queryItemValue(u"track_name"_s, QUrl::FullyDecoded);
        const QString artist = query.queryItemValue(u"artist_name"_s, QUrl::FullyDecoded);
        QJsonArray hits;
        for (int i = 0; i < songs.size(); ++i) {
            const FakeLyricSong &song = songs[i];
            if (song.title.contains(title, Qt::CaseInsensitive) && song.artist.contains(artist, Qt::CaseInsensitive))
                hits.append(hitJson(21000 + i, song));
        }
        r = Response::json(QJsonDocument(hits).toJson(QJsonDocument::Compact));
    }
    r.delayMs = delayMs;
    return r;
}

const Registration registration(portModule<FakeLrclib>("lrclib", u"LRCLIB"_s));

} // namespace velotte::fake
