#include "fakenetease.h"

#include "kit/registry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;

namespace {

const QString oldStreetLamp = uR"([00:00.000] 作词 : 林晓风
[00:01.000] 作曲 : 林晓风
[00:02.000] 编曲 : 周可
[00:18.520]旧街灯下 我们说过的话
[00:24.180]被风吹散 又被雨带回家
[00:30.900][01:42.900]你还记得吗 那条没有尽头的路
[00:37.350]我一个人走到了天亮
)"_s;

const QString saltAndPepper = uR"([00:00.000] 作词 : The Condiments
[00:12.400]Shake a little, shake it slow
[00:17.850]Every table needs the two of us
)"_s;

QJsonObject songJson(const FakeNetEase::Song &song)
{
    QJsonArray artists;
    int artistID = 12000;
    for (const QString &name : song.artists)
        artists.append(QJsonObject{{u"id"_s, ++artistID}, {u"name"_s, name}, {u"picUrl"_s, QJsonValue::Null}, {u"alias"_s, QJsonArray()},
                                   {u"albumSize"_s, 0}, {u"picId"_s, 0}, {u"img1v1Url"_s, u"https://p1.music.126.net/6y-UleORITEDbvrOLV0Q8A==/5639395138885805.jpg"_s},
                                   {u"img1v1"_s, 0}, {u"trans"_s, QJsonValue::Null}});
    return QJsonObject{{u"id"_s, song.id},
                       {u"name"_s, song.name},
                       {u"artists"_s, artists},
                       {u"album"_s, QJsonObject{{u"id"_s, song.id / 7}, {u"name"_s, song.album}, {u"status"_s, 1}, {u"copyrightId"_s, 0}}},
                       {u"duration"_s, song.millis},
                       {u"copyrightId"_s, 0},
                       {u"status"_s, 0},
                       {u"alias"_s, QJsonArray()},
                       {u"rtype"_s, 0},
                       {u"ftype"_s, 0},
                       {u"mvid"_s, 0},
                       {u"fee"_s, 8},
                       {u"rUrl"_s, QJsonValue::Null},
                       {u"mark"_s, 0}};
}

bool matches(const QString &keywords, const QString &text)
{
    const QStringList words = keywords.split(u' ', Qt::SkipEmptyParts);
    for (const QString &word : words) {
        if (!text.contains(word, Qt::CaseInsensitive))
            return false;
    }
    return !words.isEmpty();
}

} // namespace

FakeNetEase::FakeNetEase(QObject *parent) : QObject(parent), m_server([this](const Request &r) { return handle(r); }, this)
{
    songs = {
        // Same name, seven seconds longer: a version the duration rule turns away.
        {1901371003, u"旧街灯"_s, {u"林晓风"_s}, u"旧街灯 (试听版)"_s, 250000, u"[00:01.00]试听版\n"_s},
        {1901371001, u"旧街灯"_s, {u"林晓风"_s}, u"晚风里的城市"_s, 243000, oldStreetLamp},
        {1901371004, u"记得那天"_s, {u"林晓风"_s}, u"晚风里的城市"_s, 231000, {}},
        {28815250, u"Salt & Pepper"_s, {u"The Condiments"_s, u"Mia Basil"_s}, u"Kitchen Songs"_s, 201000, saltAndPepper},
    };
}

Response FakeNetEase::handle(const Request &request)
{
    requests.append(request);
    const QUrlQuery query(request.url);
    Response r;
    if (failStatus) {
        r = Response::text("<html><body><h1>503 Service Temporarily Unavailable</h1></body></html>", "text/html", failStatus);
    } else if (request.path() == u"/api/search/get"_s) {
        if (malformed) {
            r = Response::json(R"({"result":{"songs":[{"id":1901371001,"name":"旧街灯","artists":[{"name":)");
        } else {
            const QString keywords = query.queryItemValue(u"s"_s, QUrl::FullyDecoded);
            const int limit = std::clamp(query.queryItemValue(u"limit"_s).toInt(), 1, 100);
            QJsonArray found;
            for (const Song &song : std::as_const(songs)) {
                if (matches(keywords, song.name + u' ' + song.artists.join(u' ')) && found.size() < limit)
                    found.append(songJson(song));
            }
            QJsonObject result{{u"songCount"_s, int(found.size())}, {u"hasMore"_s, false}};
            if (!found.isEmpty())
                result.insert(u"songs"_s, found);
            r = Response::json(QJsonDocument(QJsonObject{{u"result"_s, result}, {u"code"_s, 200}}).toJson(QJsonDocument::Compact));
        }
    } else if (request.path() == u"/api/song/lyric"_s) {
        const qint64 id = query.queryItemValue(u"id"_s).toLongLong();
        QJsonObject body{{u"code"_s, 200}, {u"sgc"_s, false}, {u"sfy"_s, false}, {u"qfy"_s, false}};
        bool known = false;
        for (const Song &song : std::as_const(songs)) {
            if (song.id != id)
                continue;
            known = true;
            if (song.lyric.isEmpty()) {
                body.insert(u"nolyric"_s, true);
            } else {
                body.insert(u"lrc"_s, QJsonObject{{u"version"_s, 7}, {u"lyric"_s, song.lyric}});
                body.insert(u"klyric"_s, QJsonObject{{u"version"_s, 0}, {u"lyric"_s, u""_s}});
                body.insert(u"tlyric"_s, QJsonObject{{u"version"_s, 0}, {u"lyric"_s, u""_s}});
            }
        }
        if (!known)
            body.insert(u"uncollected"_s, true);
        r = Response::json(QJsonDocument(body).toJson(QJsonDocument::Compact));
    } else {
        r = Response::json(R"({"code":404,"msg":"not found"})", 404);
    }
    r.header("Set-Cookie", "NMTID=00OAbcDEfgHiJkLmNoPqRsTuVwXyZ; Max-Age=315360000; Path=/");
    return r;
}

const Registration registration(portModule<FakeNetEase>("netease", u"NetEase Cloud Music"_s));

} // namespace velotte::fake
