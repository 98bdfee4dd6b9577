#include "lyricrecords.h"

#include "core/failure.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

namespace velotte {

using namespace Qt::Literals::StringLiterals;

namespace {

QJsonDocument parse(const QByteArray &body)
{
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &error);
    if (error.error != QJsonParseError::NoError)
        throw DecodeError(u"not JSON: "_s + error.errorString());
    return doc;
}

QJsonObject object(const QByteArray &body)
{
    const QJsonDocument doc = parse(body);
    if (!doc.isObject())
        throw DecodeError(u"expected an object"_s);
    return doc.object();
}

// A present field of the wrong type fails the record, as a strict decoder would.
QString text(const QJsonObject &o, QLatin1StringView key)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined() || v.isNull())
        return {};
    if (!v.isString())
        throw DecodeError(u"field %1 is not text"_s.arg(key));
    return v.toString();
}

std::optional<double> number(const QJsonObject &o, QLatin1StringView key)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined() || v.isNull())
        return std::nullopt;
    if (!v.isDouble())
        throw DecodeError(u"field %1 is not a number"_s.arg(key));
    return v.toDouble();
}

qint64 integer(const QJsonObject &o, QLatin1StringView key)
{
    const auto value = number(o, key);
    if (!value)
        return 0;
    // 2^63 as a double; beyond it the conversion would be undefined.
    if (std::abs(*value) >= 9223372036854775808.0 || *value != std::trunc(*value))
        throw DecodeError(u"field %1 is not an integer"_s.arg(key));
    return o.value(key).toInteger();
}

QJsonArray array(const QJsonObject &o, QLatin1StringView key)
{
    const QJsonValue v = o.value(key);
    if (v.isUndefined() || v.isNull())
        return {};
    if (!v.isArray())
        throw DecodeError(u"field %1 is not a list"_s.arg(key));
    return v.toArray();
}

QJsonObject element(const QJsonValue &v)
{
    if (!v.isObject())
        throw DecodeError(u"list element is not an object"_s);
    return v.toObject();
}

} // namespace

QList<LyricHit> decodeLyricHits(const QByteArray &body)
{
    const QJsonDocument doc = parse(body);
    if (!doc.isArray())
        throw DecodeError(u"expected a list of hits"_s);
    QList<LyricHit> hits;
    for (const QJsonValue &v : doc.array()) {
        const QJsonObject o = element(v);
        LyricHit hit;
        hit.trackName = text(o, "trackName"_L1);
        hit.artistName = text(o, "artistName"_L1);
        hit.duration = number(o, "duration"_L1);
        const QJsonValue instrumental = o.value("instrumental"_L1);
        if (!instrumental.isUndefined() && !instrumental.isNull() && !instrumental.isBool())
            throw DecodeError(u"field instrumental is not a flag"_s);
        hit.instrumental = instrumental.toBool();
        hit.plainLyrics = text(o, "plainLyrics"_L1);
        hit.syncedLyrics = text(o, "syncedLyrics"_L1);
        hits.append(hit);
    }
    return hits;
}

NetEaseSearch NetEaseSearch::decode(const QByteArray &body)
{
    const QJsonObject o = object(body);
    NetEaseSearch search;
    search.code = int(integer(o, "code"_L1));
    const QJsonValue result = o.value("result"_L1);
    if (!result.isObject())
        return search;
    for (const QJsonValue &v : array(result.toObject(), "songs"_L1)) {
        const QJsonObject s = element(v);
        Song song;
        song.id = integer(s, "id"_L1);
        song.name = text(s, "name"_L1);
        song.duration = integer(s, "duration"_L1);
        for (const QJsonValue &a : array(s, "artists"_L1))
            song.artists.append(text(element(a), "name"_L1));
        search.songs.append(song);
    }
    return search;
}

NetEaseLyric NetEaseLyric::decode(const QByteArray &body)
{
    const QJsonObject o = object(body);
    NetEaseLyric lyric;
    lyric.code = int(integer(o, "code"_L1));
    const QJsonValue lrc = o.value("lrc"_L1);
    if (lrc.isObject())
        lyric.lyric = text(lrc.toObject(), "lyric"_L1);
    return lyric;
}

KugouSearch KugouSearch::decode(const QByteArray &body)
{
    const QJsonObject o = object(body);
    KugouSearch search;
    search.status = int(integer(o, "status"_L1));
    for (const QJsonValue &v : array(o, "candidates"_L1)) {
        const QJsonObject c = element(v);
        search.candidates.append(Candidate{text(c, "id"_L1), text(c, "accesskey"_L1), text(c, "song"_L1), text(c, "singer"_L1),
                                           integer(c, "duration"_L1)});
    }
    return search;
}

KugouLyric KugouLyric::decode(const QByteArray &body)
{
    const QJsonObject o = object(body);
    return KugouLyric{int(integer(o, "status"_L1)), text(o, "content"_L1)};
}

ItunesSearch ItunesSearch::decode(const QByteArray &body)
{
    const QJsonObject o = object(body);
    ItunesSearch search;
    for (const QJsonValue &v : array(o, "results"_L1)) {
        const QJsonObject s = element(v);
        ItunesSong song;
        song.trackId = integer(s, "trackId"_L1);
        song.trackName = text(s, "trackName"_L1);
        song.artistName = text(s, "artistName"_L1);
        song.collectionName = text(s, "collectionName"_L1);
        song.trackTimeMillis = integer(s, "trackTimeMillis"_L1);
        song.artworkUrl100 = text(s, "artworkUrl100"_L1);
        song.wrapperType = text(s, "wrapperType"_L1);
        song.kind = text(s, "kind"_L1);
        search.results.append(song);
    }
    return search;
}

} // namespace velotte
