#include "notes/lyricproviders.h"

#include "notesfixture.h"

#include "testkit/testkit.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

#include <gtest/gtest.h>

#include <map>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {

// Answers by path; unknown paths get 404.
struct Services {
    std::map<QString, std::function<HttpResponse(const HttpRequest &)>> routes;
    RecordingTransport transport{[this](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        const auto it = routes.find(r.url.port() == lrclibPort ? u"lrclib"_s + r.url.path() : r.url.path());
        if (it == routes.end())
            co_return reply(404, "{}");
        co_return it->second(r);
    }};
    VirtualClock clock;
    LyricProviders providers{transport, clock, scriptedServices()};

    QStringList paths() const
    {
        QStringList list;
        for (const HttpRequest &r : transport.requests)
            list.append(r.url.path() + u'?' + r.url.query(QUrl::FullyEncoded));
        return list;
    }
};

} // namespace

TEST(LyricProviders, SharedRequestShape)
{
    Services s;
    s.routes[u"lrclib/api/search"_s] = [](const HttpRequest &) { return reply(200, "[]"); };
    s.routes[u"/api/search/get"_s] = [](const HttpRequest &) { return reply(200, R"({"result":{"songCount":0},"code":200})"); };
    s.routes[u"/search"_s] = [](const HttpRequest &) { return reply(200, R"({"status":200,"candidates":[]})"); };
    EXPECT_FALSE(await(s.providers.lrclibWords(u"Salt & Pepper"_s, {u"The Condiments"_s}, 201000, true)).result);
    EXPECT_FALSE(await(s.providers.neteaseWords(u"夜車 (主題曲)"_s, {QString(), u"林曉風"_s}, 0)));
    EXPECT_FALSE(await(s.providers.kugouWords(u"C++ & Me"_s, {u"A=B"_s}, 201000)));
    EXPECT_EQ(s.paths(), (QStringList{u"/api/search?track_name=Salt%20%26%20Pepper&artist_name=The%20Condiments"_s,
                                      u"/api/search/get?s=%E5%A4%9C%E8%BD%A6%20%E6%9E%97%E6%99%93%E9%A3%8E&type=1&offset=0&limit=20"_s,
                                      u"/search?ver=1&man=yes&client=pc&keyword=C%2B%2B%20%26%20Me%20A%3DB&duration=201000"_s}));
    // Cookies stay with LRCLIB only.
    EXPECT_TRUE(s.transport.requests[0].cookies);
    EXPECT_FALSE(s.transport.requests[1].cookies);
    EXPECT_FALSE(s.transport.requests[2].cookies);
}

TEST(LyricProviders, LrclibAcceptsByKeyArtistAndDuration)
{
    Services s;
    QJsonArray answer;
    s.routes[u"lrclib/api/search"_s] = [&](const HttpRequest &) { return reply(200, lrclibHits(answer)); };
    auto words = [&](const QString &title, qint64 millis) {
        return await(s.providers.lrclibWords(title, {u"The Condiments"_s}, millis, false));
    };

    answer = {lrclibHit(u"Salt & Pepper"_s, u"The Condiments"_s, 204.0, u"[00:01.00]far"_s)};
    EXPECT_TRUE(words(u"Salt & Pepper"_s, 201000).result);
    EXPECT_FALSE(words(u"Salt & Pepper"_s, 200999).result); // 3001 ms away
    EXPECT_TRUE(words(u"Salt & Pepper"_s, 0).result);        // unknown: any duration
    answer = {lrclibHit(u"Salt & Pepper"_s, u"The Condiments"_s, QJsonValue::Null, u"[00:01.00]x"_s)};
    EXPECT_TRUE(words(u"Salt & Pepper"_s, 201000).result); // the hit does not say

    // Equal up to case, width, accents and punctuation.
    answer = {lrclibHit(u"ＳＡＬＴ ＆ PEPPÉR!"_s, u"the condiments"_s, 201.0, u"[00:01.00]wide"_s)};
    EXPECT_EQ(words(u"salt pepper"_s, 201000).result->lines, (QList<TrackLine>{TrackLine{1000, u"wide"_s}}));
    // Another artist, no artist, another title: refused.
    answer = {lrclibHit(u"Salt & Pepper"_s, u"The Condiment"_s, 201.0, u"[00:01.00]x"_s), lrclibHit(u"Salt & Pepper"_s, QString(), 201.0, u"[00:01.00]x"_s),
              lrclibHit(u"Salt & Pepper (Live)"_s, u"The Condiments"_s, 201.0, u"[00:01.00]x"_s)};
    EXPECT_FALSE(words(u"Salt & Pepper"_s, 201000).result);
    // Filed in the other script: each query in turn until one finds it.
    s.routes[u"lrclib/api/search"_s] = [](const HttpRequest &r) {
        const bool simplified = QUrlQuery(r.url).queryItemValue(u"track_name"_s, QUrl::FullyDecoded) == u"夜车"_s;
        return reply(200, lrclibHits(simplified ? QJsonArray{lrclibHit(u"夜车"_s, u"林晓风"_s, 276.0, u"[00:15.30]窗外的灯"_s)} : QJsonArray{}));
    };
    const auto before = s.transport.requests.size();
    ASSERT_TRUE(await(s.providers.lrclibWords(u"夜車 (電影《夜行》主題曲)"_s, {u"林曉風"_s}, 276000, false)).result);
    EXPECT_EQ(s.transport.requests.size() - before, 3u) << "the title as given, with the artist in both scripts, then the title in the other";
    // A title of punctuation only asks nobody.
    const auto asked = s.transport.requests.size();
    EXPECT_FALSE(words(u"?!"_s, 201000).result);
    EXPECT_EQ(s.transport.requests.size(), asked);
}

TEST(LyricProviders, LrclibPrefersSyncedThenPlainThenInstrumental)
{
    Services s;
    QJsonArray answer;
    s.routes[u"lrclib/api/search"_s] = [&](const HttpRequest &) { return reply(200, lrclibHits(answer)); };
    auto words = [&] { return await(s.providers.lrclibWords(u"Olive Oil Blues"_s, {u"The Condiments"_s}, 234000, false)); };

    answer = {lrclibHit(u"Olive Oil Blues"_s, u"The Condiments"_s, 234.0, {}, u"plain first\n\nsecond"_s),
              lrclibHit(u"Olive Oil Blues"_s, u"The Condiments"_s, 234.0, u"[00:02.00]synced"_s)};
    LrclibAnswer a = words();
    ASSERT_TRUE(a.result);
    EXPECT_EQ(a.result->lines, (QList<TrackLine>{TrackLine{2000, u"synced"_s}}));
    EXPECT_EQ(a.result->source, TrackLyricsSource::lrclib());

    // Synced text without a single timed line falls back to the plain text.
    answer = {lrclibHit(u"Olive Oil Blues"_s, u"The Condiments"_s, 234.0, u"[ar:nobody]\n[00:03.00] "_s, u"plain first\n\nsecond"_s)};
    a = words();
    ASSERT_TRUE(a.result);
    EXPECT_EQ(a.result->lines, (QList<TrackLine>{TrackLine{std::nullopt, u"plain first"_s}, TrackLine{std::nullopt, u"second"_s}}));

    answer = {lrclibHit(u"Olive Oil Blues"_s, u"The Condiments"_s, 234.0, {}, {}, true)};
    a = words();
    EXPECT_FALSE(a.result);
    EXPECT_TRUE(a.instrumental);
    EXPECT_EQ(s.transport.requests.size(), 3u); // an instrumental answer ends the search
}

TEST(LyricProviders, RetryAfterSetsTheBackoff)
{
    const QDateTime now(QDate(2026, 3, 2), QTime(8, 0), Qt::UTC);
    EXPECT_EQ(LyricProviders::retryDelay("-7", now), Millis(1000));
    EXPECT_EQ(LyricProviders::retryDelay("2.5", now), Millis(2500));
    EXPECT_EQ(LyricProviders::retryDelay("Mon, 02 Mar 2026 08:00:10 GMT", now), Millis(10000));
    EXPECT_EQ(LyricProviders::retryDelay("Mon, 02 Mar 2026 07:59:00 GMT", now), Millis(1000)); // past
    EXPECT_EQ(LyricProviders::retryDelay("soon", now), Millis(1000));
    EXPECT_EQ(LyricProviders::retryDelay("1e300", now), Millis(86400000));

    Services s;
    int status = 429;
    Headers headers{{"Retry-After", "0"}};
    s.routes[u"lrclib/api/search"_s] = [&](const HttpRequest &) { return reply(status, "{}", headers); };
    const auto search = [&] { return s.providers.get(QUrl(u"http://127.0.0.1:7101/api/search?track_name=x"_s)); };
    EXPECT_THROW(await(search()), LyricsError);
    EXPECT_EQ(s.providers.lyricsRetryAfter, s.clock.now().addMSecs(1000));
    status = 503;
    headers = {};
    s.clock.advance(Millis(5000));
    EXPECT_EQ(failure<LyricsError>(search()).value().kind(), LyricsError::Kind::rateLimited); // a 503 too
    EXPECT_EQ(s.providers.lyricsRetryAfter, s.clock.now().addMSecs(1000));

    // Other services' 429 are plain failures and leave the back-off alone.
    s.providers.lyricsRetryAfter.reset();
    s.routes[u"/api/search/get"_s] = [](const HttpRequest &) { return reply(429, "{}", {{"Retry-After", "60"}}); };
    EXPECT_EQ(failure<LyricsError>(s.providers.get(QUrl(u"http://127.0.0.1:7102/api/search/get?s=x"_s))).value().kind(), LyricsError::Kind::status);
    EXPECT_FALSE(s.providers.lyricsRetryAfter);
    // 201 is not 200.
    s.routes[u"/search"_s] = [](const HttpRequest &) { return reply(201, R"({"status":200})"); };
    EXPECT_THROW(await(s.providers.get(QUrl(u"http://127.0.0.1:7103/search"_s))), LyricsError);
}

// NetEase and Kugou: the first hit by the artist (in either script) at the
// duration is fetched; a fetch without lines moves on to the next artist; a
// search that cannot be read fails the provider.
TEST(LyricProviders, NetEaseAndKugouSearchThenFetch)
{
    using Words = QCoro::Task<std::optional<LyricsResult>> (LyricProviders::*)(QString, QStringList, qint64, CancelToken);
    const auto kugouLyric = [](const QByteArray &content) { return R"({"status":200,"content":")" + content + R"("})"; };
    const struct {
        Words words;
        QString search, fetch, title;
        QByteArray hits, lyric;
        TrackLyricsSource source;
        QList<TrackLine> lines;
        QString fetchQuery;
        QList<QByteArray> noLines;
        QByteArray badSearch;
    } cases[] = {
        {&LyricProviders::neteaseWords, u"/api/search/get"_s, u"/api/song/lyric"_s, u"舊街燈"_s, R"json({"result":{"songs":[
            {"id":1,"name":"旧街灯","duration":246001,"artists":[{"name":"林晓风"}]},
            {"id":2,"name":"旧街灯","duration":243000,"artists":[{"name":"别人"}]},
            {"id":3,"name":"旧街灯 (Live)","duration":243000,"artists":[{"name":"林晓风"}]},
            {"id":1901371001,"name":"旧街灯","duration":246000,"artists":[{"name":"周可"},{"name":"林曉風"}]}],"songCount":4},"code":200})json",
         R"({"lrc":{"version":7,"lyric":"[00:00.000] 作词 : 林晓风\n[00:18.520]旧街灯下\n"},"code":200})", TrackLyricsSource::netEase(1901371001),
         {TrackLine{0, u"作词 : 林晓风"_s}, TrackLine{18520, u"旧街灯下"_s}}, u"id=1901371001&lv=-1&tv=-1&kv=-1"_s, {R"({"nolyric":true,"code":200})"},
         R"({"result":{"songs":[{"id":"not a number"}]},"code":200})"},
        {&LyricProviders::kugouWords, u"/search"_s, u"/download"_s, u"雲的另一邊"_s, R"({"status":200,"candidates":[
            {"id":"1","accesskey":"K1","song":"云的另一边","singer":"林晓风","duration":262000},
            {"id":"59421736","accesskey":"A1B2","song":"雲的另一邊","singer":"林曉風","duration":246000}]})",
         kugouLyric(QByteArray("\xEF\xBB\xBF[00:16.21]如果云的另一边\r\n[00:21.87]也有人在等雨停\r\n").toBase64()), TrackLyricsSource::kugou(),
         {TrackLine{16210, u"如果云的另一边"_s}, TrackLine{21870, u"也有人在等雨停"_s}}, u"ver=1&client=pc&id=59421736&accesskey=A1B2&fmt=lrc&charset=utf8"_s,
         {kugouLyric("@@not*base64@@"), kugouLyric(QByteArray("\xff\xfe\xc3(").toBase64()), kugouLyric("W10=\\u00e9")}, "status=200&candidates="},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.search.toStdString());
        Services s;
        QByteArray hits = c.hits, lyric = c.lyric;
        s.routes[c.search] = [&](const HttpRequest &) { return reply(200, hits); };
        s.routes[c.fetch] = [&](const HttpRequest &) { return reply(200, lyric); };
        const auto words = [&](QStringList artists) { return await((s.providers.*c.words)(c.title, artists, 243000, {})); };
        const auto found = words({u"林曉風"_s});
        ASSERT_TRUE(found);
        EXPECT_EQ(found->source, c.source);
        EXPECT_EQ(found->lines, c.lines);
        ASSERT_EQ(s.transport.requests.size(), 2u);
        EXPECT_EQ(s.transport.requests[1].url.query(), c.fetchQuery);
        for (const QByteArray &bad : c.noLines) {
            lyric = bad;
            const auto asked = s.transport.requests.size();
            EXPECT_FALSE(words({u"林曉風"_s, u"林晓风"_s})) << bad.constData();
            EXPECT_EQ(s.transport.requests.size(), asked + 4);
        }
        hits = c.badSearch;
        EXPECT_THROW(words({u"林曉風"_s}), DecodeError);
    }
    EXPECT_EQ(TrackLyricsSource::netEase(1901371001).link(), QUrl(u"https://music.163.com/song?id=1901371001"_s));
}
