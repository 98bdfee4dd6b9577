#include "fakekugou.h"

#include "kit/registry.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

namespace velotte::fake {

using namespace Qt::Literals::StringLiterals;

namespace {

// Kugou sends its LRC with a byte-order mark and Windows line ends.
QByteArray encoded(const QString &lrc)
{
    QString text = lrc;
    text.replace(u"\n"_s, u"\r\n"_s);
    return (QByteArray("\xEF\xBB\xBF") + text.toUtf8()).toBase64();
}

const QString otherSideOfTheCloud = uR"([id:$00000000]
[ar:林晓风]
[ti:云的另一边]
[by:]
[hash:5d41402abc4b2a76b9719d911017c592]
[al:]
[sign:]
[qq:]
[total:258000]
[offset:0]
[00:00.50]林晓风 - 云的另一边
[00:16.21]如果云的另一边
[00:21.87]也有人在等雨停
[00:27.40]我就把想念折成纸船
)"_s;

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

FakeKugou::FakeKugou(QObject *parent) : QObject(parent), m_server([this](const Request &r) { return handle(r); }, this)
{
    candidates = {
        {u"59421736"_s, u"A1B2C3D4E5F60718293A4B5C6D7E8F90"_s, u"云的另一边"_s, u"林晓风"_s, 258000, encoded(otherSideOfTheCloud)},
        // Two broken downloads: not base64, and base64 of text that is not UTF-8.
        {u"61000001"_s, u"0F1E2D3C4B5A69788796A5B4C3D2E1F0"_s, u"记得那天"_s, u"林晓风"_s, 231000, "@@not*base64@@"},
        {u"61000002"_s, u"00112233445566778899AABBCCDDEEFF"_s, u"记得那天"_s, u"林晓风"_s, 231500, QByteArray("[00:01.00]\xff\xfe\xc3(", 15).toBase64()},
        {u"58000123"_s, u"C0FFEEC0FFEEC0FFEEC0FFEEC0FFEE00"_s, u"Salt & Pepper"_s, u"The Condiments"_s, 201000,
         encoded(u"[00:12.40]Shake a little, shake it slow\n"_s)},
    };
}

Response FakeKugou::handle(const Request &request)
{
    requests.append(request);
    const QUrlQuery query(request.url);
    Response r;
    if (failStatus) {
        r = Response::json(R"({"status":0,"info":"error","errcode":500})", failStatus);
    } else if (request.path() == u"/search"_s) {
        if (malformed) {
            r = Response::text("status=200&candidates=", "text/plain");
        } else {
            const QString keyword = query.queryItemValue(u"keyword"_s, QUrl::FullyDecoded);
            QJsonArray found;
            for (const Candidate &c : std::as_const(candidates)) {
                if (!matches(keyword, c.song + u' ' + c.singer))
                    continue;
                found.append(QJsonObject{{u"id"_s, c.id},
                                         {u"accesskey"_s, c.accesskey},
                                         {u"song"_s, c.song},
                                         {u"singer"_s, c.singer},
                                         {u"duration"_s, c.millis},
                                         {u"uid"_s, u"1000000010"_s},
                                         {u"nickname"_s, u"酷狗音乐"_s},
                                         {u"language"_s, u""_s},
                                         {u"krctype"_s, 2},
                                         {u"hitlayer"_s, 7},
                                         {u"score"_s, 60},
                                         {u"adjust"_s, 0}});
            }
            r = Response::json(QJsonDocument(QJsonObject{{u"status"_s, 200},
                                                          {u"info"_s, u"OK"_s},
                                                          {u"errcode"_s, 200},
                                                          {u"errmsg"_s, u"OK"_s},
                                                          {u"keyword"_s, keyword},
                                                          {u"proposal"_s, found.isEmpty() ? u""_s : found[0].toObject().value(u"id"_s).toString()},
                                                          {u"has_complete_right"_s, 0},
                                                          {u"companys"_s, u""_s},
                                                          {u"ugc"_s, 0},
                                                          {u"ugccount"_s, 0},
                                                          {u"expire"_s, 0},
                                                          {u"candidates"_s, found}})
                                   .toJson(QJsonDocument::Compact));
        }
    } else if (request.path() == u"/download"_s) {
        const QString id = query.queryItemValue(u"id"_s);
        const QString key = query.queryItemValue(u"accesskey"_s);
        r = Response::json(R"({"status":404,"info":"no such lyric","error_code":404})");
        for (const Candidate &c : std::as_const(candidates)) {
            if (c.id == id && c.accesskey == key) {
                r = Response::json(QJsonDocument(QJsonObject{{u"status"_s, 200},
                                                             {u"info"_s, u"OK"_s},
                                                             {u"error_code"_s, 0},
                                                             {u"fmt"_s, u"lrc"_s},
                                                             {u"contenttype"_s, 0},
                                                             {u"_source"_s, u"candidate"_s},
                                                             {u"charset"_s, u"utf8"_s},
                                                             {u"content"_s, QString::fromLatin1(c.content)},
                                                             {u"id"_s, c.id}})
                                       .toJson(QJsonDocument::Compact));
            }
        }
    } else {
        r = Response::text("Not Found", "text/plain", 404);
    }
    r.header("Set-Cookie", "kg_mid=3f4e5d6c7b8a; Path=/; Domain=kugou.com");
    return r;
}

const Registration registration(portModule<FakeKugou>("kugou", u"Kugou lyric service"_s));

} // namespace velotte::fake
