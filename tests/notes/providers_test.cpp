#include "notes/lyricproviders.h"
#include "notesfixture.h"
#include "testkit/testkit.h"
#include "notes/trackmatching.h"
#include "notes/tracklyrics.h"

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

namespace M = velotte::TrackMatching;

TEST(TrackMatching, TitleLosesOnlyATrailingWorkRemark)
{
    EXPECT_EQ(M::title(u"夜車 （電影《夜行》主題曲）"_s), u"夜車"_s);
    EXPECT_EQ(M::title(u"Theme (from the Motion Picture soundtrack)"_s), u"Theme"_s);
    EXPECT_EQ(M::title(u"風箏 (概念版)"_s), u"風箏"_s);
    // In the middle, nested, or not about the work: left alone.
    EXPECT_EQ(M::title(u"夜車（主題曲）Remix"_s), u"夜車（主題曲）Remix"_s);
    EXPECT_EQ(M::title(u"Song (Live (主題曲))"_s), u"Song (Live (主題曲))"_s);
    EXPECT_EQ(M::title(u"Salt & Pepper (Acoustic)"_s), u"Salt & Pepper (Acoustic)"_s);
    // Only one remark goes.
    EXPECT_EQ(M::title(u"Song (插曲) (片頭曲)"_s), u"Song (插曲)"_s);
    EXPECT_EQ(M::title(u"  Clair de lune \t"_s), u"Clair de lune"_s);
}

TEST(TrackMatching, KeysFoldCaseWidthAccentsPunctuationAndScript)
{
    EXPECT_EQ(M::normalized(u"Salt & Pepper!"_s), u"saltpepper"_s);
    EXPECT_EQ(M::normalized(u"ＳＡＬＴ　＆　ＰＥＰＰＥＲ"_s), u"saltpepper"_s);
    EXPECT_EQ(M::normalized(u"Gymnopédie No. 1"_s), M::normalized(u"GYMNOPEDIE NO1"_s));
    EXPECT_EQ(M::normalized(u"Cafe\u0301"_s), u"cafe"_s);
    EXPECT_EQ(M::normalized(u"林曉風"_s), u"林晓风"_s);
    EXPECT_EQ(M::normalized(u"Чайковский 방탄소년단"_s), u"чаиковскии방탄소년단"_s); // other scripts' letters stay, syllables whole
    EXPECT_EQ(M::normalized(u"Straße"_s), M::normalized(u"STRASSE"_s));
    EXPECT_EQ(M::normalized(u"😀 Smile 🎵"_s), u"smile"_s);
    EXPECT_TRUE(M::normalized(u"?!… —— 、。"_s).isEmpty());
}

TEST(TrackMatching, LyricQueriesAreTitleMajor)
{
    EXPECT_EQ(M::lyricQueries(u"Clair de lune"_s, u"Claude Debussy"_s), (QList<LyricQuery>{{u"Clair de lune"_s, u"Claude Debussy"_s}}));
    const QList<LyricQuery> mixed = M::lyricQueries(u"舊街灯"_s, u"林曉风"_s);
    ASSERT_EQ(mixed.size(), 9);
    EXPECT_EQ(mixed[0], (LyricQuery{u"舊街灯"_s, u"林曉风"_s}));
    EXPECT_EQ(mixed[3], (LyricQuery{u"旧街灯"_s, u"林曉风"_s})); // every artist spelling, then the next title
    EXPECT_EQ(mixed[8], (LyricQuery{u"舊街燈"_s, u"林曉風"_s}));
    const QList<LyricQuery> traditional = M::lyricQueries(u"夜車"_s, u"林曉風"_s);
    EXPECT_EQ(traditional, (QList<LyricQuery>{{u"夜車"_s, u"林曉風"_s}, {u"夜車"_s, u"林晓风"_s}, {u"夜车"_s, u"林曉風"_s}, {u"夜车"_s, u"林晓风"_s}}));
    EXPECT_TRUE(M::lyricQueries(u" (插曲)"_s, u"Anyone"_s).isEmpty());
    EXPECT_EQ(M::lyricQueries(u"七里香"_s, u"Anyone"_s).size(), 1); // the same in both scripts
    // Punctuation is still a title to search for; only the key is empty.
    EXPECT_EQ(M::lyricQueries(u"…"_s, u"Anyone"_s).size(), 1);
    // The artist is searched as given, remarks and all.
    EXPECT_EQ(M::lyricQueries(u"Song"_s, u"Band (主題曲)"_s)[0].artist, u"Band (主題曲)"_s);
}

TEST(TrackMatching, SameTitleAndArtistRules)
{
    EXPECT_TRUE(M::sameTitle(u"夜車 (電影《夜行》主題曲)"_s, u"夜车"_s));
    EXPECT_TRUE(M::sameTitle(u"Gymnopédie No.1"_s, u"Gymnopedie No. 1"_s));
    EXPECT_FALSE(M::sameTitle(u"Salt & Pepper (Live)"_s, u"Salt & Pepper"_s));
    EXPECT_FALSE(M::sameTitle(u"!!!"_s, u"!!!"_s));

    EXPECT_TRUE(M::same(u"陳雨桐"_s, u"陈雨桐"_s));
    EXPECT_TRUE(M::same(u"the condiments"_s, u"The Condiments"_s));
    EXPECT_FALSE(M::same(QString(), u"The Condiments"_s));
    EXPECT_FALSE(M::same(QString(), QString()));
    EXPECT_FALSE(M::same(u"The Condiment"_s, u"The Condiments"_s));
}

namespace {
TrackLine at(qint64 time, const QString &text) { return TrackLine{time, text}; }
} // namespace

TEST(Lrc, TagsTimesAndText)
{
    EXPECT_EQ(timed(u"[01:02.5][02:10]Hello"_s), (QList<TrackLine>{at(62500, u"Hello"_s), at(130000, u"Hello"_s)}));
    // Out of order tags and lines come back ordered; fractions of two and three digits.
    EXPECT_EQ(timed(u"[00:20.10]b\n[00:05.123][00:30.00] a \n[00:00.99]c"_s),
              (QList<TrackLine>{at(990, u"c"_s), at(5123, u"a"_s), at(20100, u"b"_s), at(30000, u"a"_s)}));
    // A tag anywhere on the line; the text is what remains.
    EXPECT_EQ(timed(u"Hello [00:01.00]world"_s), QList<TrackLine>{at(1000, u"Hello world"_s)});
    // Word timings of enhanced LRC are not words; one blank stays between words.
    EXPECT_EQ(timed(u"[00:41.75]<00:41.75>Pass <00:42.10>it <00:42.40>down"_s), QList<TrackLine>{at(41750, u"Pass it down"_s)});
    EXPECT_EQ(timed(u"[00:33.58]<00:33.58> Salt <00:34.00> and<00:34.50> pepper <00:35.1>"_s), QList<TrackLine>{at(33580, u"Salt and pepper"_s)});
    EXPECT_EQ(timed(u"[00:01.00]夜车 <01:02:3>開"_s), QList<TrackLine>{at(1000, u"夜车 開"_s)});
    // Angle brackets that are not times stay.
    EXPECT_EQ(timed(u"[00:01.00]<3 you <chorus> <1:2> <00:0a>"_s), QList<TrackLine>{at(1000, u"<3 you <chorus> <1:2> <00:0a>"_s)});
    // Windows line ends, blanks and tabs trimmed.
    EXPECT_EQ(timed(u"[00:01.00]\tone \r\n[00:02.00]two\r\n"_s), (QList<TrackLine>{at(1000, u"one"_s), at(2000, u"two"_s)}));
    // Big minutes are fine as long as they fit.
    EXPECT_EQ(timed(u"[120:00]late"_s), QList<TrackLine>{at(7200000, u"late"_s)});
    // The fraction is read exactly, and truncated past milliseconds.
    EXPECT_EQ(timed(u"[00:01.005]x\n[00:01.0059]y"_s), (QList<TrackLine>{at(1005, u"x"_s), at(1005, u"y"_s)}));
}

TEST(Lrc, WhatGivesNoLine)
{
    EXPECT_TRUE(timed(u"[00:60]sixty is too many"_s).isEmpty());
    EXPECT_EQ(timed(u"[00:59.999]ok"_s), QList<TrackLine>{at(59999, u"ok"_s)});
    // The bad tag goes, its neighbour stays.
    EXPECT_EQ(timed(u"[00:61.00][00:02.00]half"_s), QList<TrackLine>{at(2000, u"half"_s)});
    EXPECT_TRUE(timed(u"[153722867280912:00.00]overflow"_s).isEmpty());
    EXPECT_TRUE(timed(u"[03:25.72] "_s).isEmpty());
    EXPECT_TRUE(timed(u"[00:52.03]<00:52.03>\n[00:53.10] <00:53.10> <00:54.00> "_s).isEmpty());
    EXPECT_TRUE(timed(u"[ar:The Condiments]\n[by:]\n[length: 2:50]\n[offset:0]"_s).isEmpty());
    EXPECT_TRUE(timed(u"no tags at all\n\n"_s).isEmpty());
    EXPECT_TRUE(timed(u"[1:2.]x\n[:01.00]x\n[01:.5]x\n[01:02.5x"_s).isEmpty());
}

TEST(Lrc, RealWorldFileAndBrackets)
{
    const QString file = u"ÿþLRC exported\n[ar:The Condiments]\n[ti:Salt & Pepper]\n[by:]\n[length: 3:21]\n"
                         "[00:12.40]Shake a little\n[00:23.10][01:31.10]Salt and pepper\n[00:34.20] \n[01:31.10]\n"_s;
    EXPECT_EQ(timed(file), (QList<TrackLine>{at(12400, u"Shake a little"_s), at(23100, u"Salt and pepper"_s), at(91100, u"Salt and pepper"_s)}));

    QString brackets(1 << 20, u'[');
    EXPECT_TRUE(timed(brackets).isEmpty());
}

TEST(Lrc, PlainTextBecomesUntimedLines)
{
    const QList<TrackLine> lines = untimed(u"Pour it slow\n\n\nEvery pan \t\n  Olive oil blues\r\n"_s);
    ASSERT_EQ(lines.size(), 3);
    EXPECT_FALSE(lines[0].time.has_value());
    EXPECT_EQ(lines[0].text, u"Pour it slow"_s);
    EXPECT_EQ(lines[1].text, u"Every pan"_s);
    EXPECT_EQ(lines[2].text, u"Olive oil blues"_s);
    EXPECT_TRUE(untimed(u"\n\n"_s).isEmpty());
}
