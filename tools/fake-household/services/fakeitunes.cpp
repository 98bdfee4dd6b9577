#include "fakeitunes.h"

#include "kit/registry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;

namespace {

// A 1x1 PNG: enough for a client that only keeps the bytes.
const QByteArray pixel = QByteArray::fromBase64(
    "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg==");

QList<FakeItunes::Album> catalogue()
{
    using Album = FakeItunes::Album;
    QList<Album> list;
    list.append(Album{1440880312, 4431, u"Claude Debussy"_s, {}, u"Suite bergamasque"_s, {}, u"Classical"_s, u"1905-01-01T08:00:00Z"_s, {},
                      {{1440880313, u"Prélude"_s, {}, 1, 268000},
                       {1440880314, u"Menuet"_s, {}, 2, 301000},
                       {1440880315, u"Clair de lune"_s, {}, 3, 300000},
                       {1440880316, u"Passepied"_s, {}, 4, 232000}}});
    list.append(Album{1452860100, 4431, u"Claude Debussy"_s, {}, u"Préludes, Book 1"_s, {}, u"Classical"_s, u"1910-01-01T08:00:00Z"_s, {},
                      {{1452860101, u"La fille aux cheveux de lin"_s, {}, 8, 151000},
                       {1452860102, u"La cathédrale engloutie"_s, {}, 10, 372000}}});
    list.append(Album{1512345600, 20671, u"Erik Satie"_s, {}, u"Gymnopédies"_s, {}, u"Classical"_s, u"1888-01-01T08:00:00Z"_s, {},
                      {{1512345601, u"Gymnopédie No. 1"_s, {}, 1, 185000},
                       {1512345602, u"Gymnopédie No. 2"_s, {}, 2, 158000},
                       {1512345603, u"Gymnopédie No. 3"_s, {}, 3, 141000}}});
    list.append(Album{1603550700, 88120, u"The Condiments"_s, {}, u"Kitchen Songs"_s, {}, u"Pop"_s, u"2019-05-17T07:00:00Z"_s, {},
                      {{1603550701, u"Salt & Pepper"_s, {}, 1, 201000},
                       {1603550702, u"Olive Oil Blues"_s, {}, 2, 234000},
                       {1603550703, u"Vinegar Heart (Acoustic)"_s, {}, 3, 188000},
                       {1603550704, u"Café Crème"_s, {}, 4, 212000}}});
    list.append(Album{1700112233, 99001, u"林曉風"_s, u"林晓风"_s, u"晚風裡的城市"_s, u"晚风里的城市"_s, u"Mandopop"_s, u"2021-08-20T07:00:00Z"_s, {},
                      {{1700112234, u"舊街燈"_s, u"旧街灯"_s, 1, 243000},
                       {1700112235, u"雲的另一邊"_s, u"云的另一边"_s, 2, 258000},
                       {1700112236, u"夜車 (電影《夜行》主題曲)"_s, u"夜车 (电影《夜行》主题曲)"_s, 3, 276000},
                       {1700112237, u"記得那天"_s, u"记得那天"_s, 4, 231000}}});
    list.append(Album{1710554400, 99002, u"陳雨桐"_s, u"陈雨桐"_s, u"風箏"_s, u"风筝"_s, u"Mandopop"_s, u"2023-03-03T08:00:00Z"_s, {},
                      {{1710554401, u"風箏"_s, u"风筝"_s, 1, 219000},
                       {1710554402, u"海邊的信"_s, u"海边的信"_s, 2, 247000},
                       {1710554403, u"Blue Hour"_s, {}, 3, 205000}}});
    return list;
}

bool simplifiedFor(const QUrlQuery &query)
{
    const QString lang = query.queryItemValue(u"lang"_s).toLower().replace(u'-', u'_');
    if (lang.startsWith(u"zh_cn"_s) || lang.startsWith(u"zh_hans"_s))
        return true;
    if (lang.startsWith(u"zh_tw"_s) || lang.startsWith(u"zh_hk"_s) || lang.startsWith(u"zh_hant"_s))
        return false;
    return query.queryItemValue(u"country"_s).compare(u"cn"_s, Qt::CaseInsensitive) == 0;
}

QString pick(const QString &traditional, const QString &simplified, bool wantSimplified)
{
    return wantSimplified && !simplified.isEmpty() ? simplified : traditional;
}

struct Shape {
    QString base;
    QString country;
    bool simplified = false;
};

QString artwork(const Shape &shape, const FakeItunes::Album &album)
{
    return album.artwork.isEmpty() ? shape.base + u"/image/thumb/Music/%1/100x100bb.png"_s.arg(album.collectionId) : album.artwork;
}

QJsonObject collectionJson(const Shape &shape, const FakeItunes::Album &album)
{
    return QJsonObject{{u"wrapperType"_s, u"collection"_s},
                       {u"collectionType"_s, u"Album"_s},
                       {u"artistId"_s, album.artistId},
                       {u"collectionId"_s, album.collectionId},
                       {u"artistName"_s, pick(album.artist, album.artistSimplified, shape.simplified)},
                       {u"collectionName"_s, pick(album.name, album.nameSimplified, shape.simplified)},
                       {u"collectionViewUrl"_s, u"https://music.apple.com/%1/album/%2"_s.arg(shape.country).arg(album.collectionId)},
                       {u"artworkUrl60"_s, artwork(shape, album).replace(u"100x100"_s, u"60x60"_s)},
                       {u"artworkUrl100"_s, artwork(shape, album)},
                       {u"trackCount"_s, int(album.songs.size())},
                       {u"copyright"_s, u"℗ %1 Fake Records"_s.arg(album.releaseDate.left(4))},
                       {u"country"_s, shape.country.toUpper() == u"US"_s ? u"USA"_s : shape.country.toUpper()},
                       {u"currency"_s, shape.country.toUpper() == u"CN"_s ? u"CNY"_s : shape.country.toUpper() == u"TW"_s ? u"TWD"_s : u"USD"_s},
                       {u"releaseDate"_s, album.releaseDate},
                       {u"primaryGenreName"_s, album.genre}};
}

QJsonObject songJson(const Shape &shape, const FakeItunes::Album &album, const FakeItunes::Song &song)
{
    QJsonObject o = collectionJson(shape, album);
    o.remove(u"collectionType"_s);
    o.remove(u"copyright"_s);
    o.insert(u"wrapperType"_s, u"track"_s);
    o.insert(u"kind"_s, u"song"_s);
    o.insert(u"trackId"_s, song.trackId);
    o.insert(u"trackName"_s, pick(song.name, song.simplified, shape.simplified));
    o.insert(u"trackViewUrl"_s, u"https://music.apple.com/%1/album/%2?i=%3"_s.arg(shape.country).arg(album.collectionId).arg(song.trackId));
    o.insert(u"artistViewUrl"_s, u"https://music.apple.com/%1/artist/%2"_s.arg(shape.country).arg(album.artistId));
    o.insert(u"trackTimeMillis"_s, song.millis);
    o.insert(u"trackNumber"_s, song.trackNumber);
    o.insert(u"discNumber"_s, 1);
    o.insert(u"discCount"_s, 1);
    o.insert(u"trackExplicitness"_s, u"notExplicit"_s);
    o.insert(u"isStreamable"_s, true);
    return o;
}

QJsonObject artistJson(const Shape &shape, const FakeItunes::Album &album)
{
    return QJsonObject{{u"wrapperType"_s, u"artist"_s},
                       {u"artistType"_s, u"Artist"_s},
                       {u"artistId"_s, album.artistId},
                       {u"artistName"_s, pick(album.artist, album.artistSimplified, shape.simplified)},
                       {u"artistLinkUrl"_s, u"https://music.apple.com/%1/artist/%2"_s.arg(shape.country).arg(album.artistId)},
                       {u"primaryGenreName"_s, album.genre}};
}

// Every word of the term in the song's text, in either script.
bool matches(const QStringList &words, const QString &text)
{
    for (const QString &word : words) {
        if (!text.contains(word, Qt::CaseInsensitive))
            return false;
    }
    return !words.isEmpty();
}

QByteArray answer(const QJsonArray &results)
{
    return QJsonDocument(QJsonObject{{u"resultCount"_s, int(results.size())}, {u"results"_s, results}}).toJson();
}

} // namespace

FakeItunes::FakeItunes(QObject *parent) : QObject(parent), m_server([this](const Request &r) { return handle(r); }, this)
{
    albums = catalogue();
}

Response FakeItunes::handle(const Request &request)
{
    requests.append(request);
    Response r;
    if (failStatus) {
        r = Response::json(QJsonDocument(QJsonObject{{u"errorMessage"_s, u"Service unavailable"_s}}).toJson(), failStatus);
    } else if (request.path().startsWith(u"/image/"_s)) {
        r = Response::text(pixel, "image/png");
    } else if (malformed) {
        r = Response::text("<html><body>Temporarily unavailable", "text/html");
    } else {
        const QUrlQuery query(request.url);
        Shape shape{m_server.baseUrl().toString(), query.queryItemValue(u"country"_s).toLower(), simplifiedFor(query)};
        if (shape.country.isEmpty())
            shape.country = u"us"_s;
        const QString entity = query.queryItemValue(u"entity"_s);
        bool limitOK = false;
        int limit = query.queryItemValue(u"limit"_s).toInt(&limitOK);
        if (!limitOK || limit <= 0)
            limit = 50;
        QJsonArray results;
        if (request.path() == u"/search"_s) {
            const QString term = query.queryItemValue(u"term"_s, QUrl::FullyDecoded).replace(u'+', u' ');
            const QStringList words = term.split(u' ', Qt::SkipEmptyParts);
            for (const Album &album : albums) {
                const QString albumText = album.artist + u' ' + album.artistSimplified + u' ' + album.name + u' ' + album.nameSimplified;
                if (entity == u"album"_s) {
                    if (matches(words, albumText) && results.size() < limit)
                        results.append(collectionJson(shape, album));
                    continue;
                }
                for (const Song &song : album.songs) {
                    if (matches(words, albumText + u' ' + song.name + u' ' + song.simplified) && results.size() < limit)
                        results.append(songJson(shape, album, song));
                }
            }
            r = Response::json(answer(results));
        } else if (request.path() == u"/lookup"_s) {
            for (const QString &text : query.queryItemValue(u"id"_s).split(u',', Qt::SkipEmptyParts)) {
                const qint64 id = text.trimmed().toLongLong();
                bool artistShown = false;
                for (const Album &album : albums) {
                    if (album.artistId == id) {
                        if (!artistShown)
                            results.append(artistJson(shape, album));
                        artistShown = true;
                        if (entity == u"album"_s)
                            results.append(collectionJson(shape, album));
                        else if (entity == u"song"_s)
                            for (const Song &song : album.songs)
                                results.append(songJson(shape, album, song));
                    } else if (album.collectionId == id) {
                        results.append(collectionJson(shape, album));
                        if (entity == u"song"_s)
                            for (const Song &song : album.songs)
                                results.append(songJson(shape, album, song));
                    } else {
                        for (const Song &song : album.songs) {
                            if (song.trackId == id)
                                results.append(songJson(shape, album, song));
                        }
                    }
                }
            }
            r = Response::json(answer(results));
        } else {
            r = Response::json(R"({"errorMessage":"Invalid request","queryParameters":{}})", 400);
        }
    }
    r.delayMs = delayMs;
    return r;
}

const Registration registration(portModule<FakeItunes>("itunes", u"iTunes Search API"_s));

} // namespace velotte::fake
