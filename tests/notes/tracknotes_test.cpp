#include "notes/tracknotes.h"
#include "notesfixture.h"
#include "testkit/testkit.h"
#include "notes/nowplayingfollower.h"
#include "notes/tracklinesmodel.h"

#include <QAbstractItemModelTester>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QUrl>
#include <QUrlQuery>

#include <gtest/gtest.h>
#include <map>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {

enum Port { lrclib = lrclibPort, netease = neteasePort, kugou = kugouPort, itunes = itunesPort, art = artPort };

QByteArray hitOf(const QString &title, const QString &artist, double seconds, const QString &synced, bool instrumental = false)
{
    return lrclibHits({lrclibHit(title, artist, seconds, synced, {}, instrumental)});
}

// Scripted services: each answer may come late on the virtual clock.
struct Fixture : ::testing::Test {
    struct Answer {
        HttpResponse response;
        Millis delay{0};
    };
    std::map<int, std::function<Answer(const HttpRequest &)>> services;
    VirtualClock clock;
    RecordingTransport transport{[this](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        const auto it = services.find(r.url.port());
        if (it == services.end())
            throw TransportError(TransportError::Kind::Network, u"connection refused"_s);
        const Answer answer = it->second(r);
        // Deliberately deaf to cancellation: a late answer must still be dropped.
        if (answer.delay.count() > 0)
            co_await clock.sleep(answer.delay);
        co_return answer.response;
    }};
    TrackNotes notes{transport, clock, scriptedServices()};

    void SetUp() override
    {
        services[lrclib] = [](const HttpRequest &r) {
            const QString title = QUrlQuery(r.url).queryItemValue(u"track_name"_s, QUrl::FullyDecoded);
            if (title == u"Salt & Pepper"_s)
                return Answer{reply(200, hitOf(title, u"The Condiments"_s, 201.0, u"[00:12.40]Shake a little\n[00:17.85]Every table"_s))};
            if (title == u"Clair de lune"_s)
                return Answer{reply(200, hitOf(title, u"Claude Debussy"_s, 300.0, {}, true))};
            return Answer{reply(200, "[]")};
        };
        services[netease] = [](const HttpRequest &) { return Answer{reply(200, R"({"result":{"songCount":0},"code":200})")}; };
        services[kugou] = [](const HttpRequest &) { return Answer{reply(200, R"({"status":200,"candidates":[]})")}; };
        services[itunes] = [](const HttpRequest &) { return Answer{reply(200, R"({"resultCount":0,"results":[]})")}; };
        services[art] = [](const HttpRequest &) { return Answer{reply(200, "PNGBYTES")}; };
    }

    int requestsTo(int port) const
    {
        return int(std::count_if(transport.requests.begin(), transport.requests.end(), [port](const HttpRequest &r) { return r.url.port() == port; }));
    }
    // The address of the last request to `path` of a service; empty when none went there.
    QUrl lastTo(const QString &path, int port = itunes) const
    {
        const auto r = std::find_if(transport.requests.rbegin(), transport.requests.rend(),
                                    [&](const HttpRequest &r) { return r.url.port() == port && r.url.path() == path; });
        return r == transport.requests.rend() ? QUrl() : r->url;
    }
    void load(const QString &title, const QString &artist, const QUrl &artwork = {}, qint64 millis = 0)
    {
        await(notes.load(title, artist, artwork, millis));
    }
};

const QUrl cover(u"http://127.0.0.1:7105/cover/1.jpg"_s);

} // namespace

TEST_F(Fixture, EveryStateOfTheLoader)
{
    QSignalSpy states(&notes, &TrackNotes::lyricsStateChanged);

    load(u"Salt & Pepper"_s, u"The Condiments"_s, cover, 201000);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::available);
    EXPECT_EQ(states.size(), 2); // loading, then available
    ASSERT_EQ(notes.lines().size(), 2);
    EXPECT_EQ(notes.lines()[0], (TrackLine{12400, u"Shake a little"_s}));
    EXPECT_EQ(notes.lineAt(0), -1);
    EXPECT_EQ(notes.lineAt(12400), 0);
    EXPECT_EQ(notes.lineAt(17849), 0);
    EXPECT_EQ(notes.lineAt(900000), 1);
    EXPECT_EQ(notes.picture(), "PNGBYTES");
    EXPECT_EQ(notes.cover(), cover);

    load(u"Clair de lune"_s, u"Claude Debussy"_s, {}, 300000);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::instrumental);
    EXPECT_EQ(requestsTo(netease), 0); // LRCLIB's word is enough
    EXPECT_TRUE(notes.lines().isEmpty());
    EXPECT_TRUE(notes.picture().isEmpty());

    load(u"Blue Hour"_s, u"陳雨桐"_s, {}, 205000);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::unavailable);
    EXPECT_EQ(requestsTo(netease), 1);
    EXPECT_EQ(requestsTo(kugou), 1);

    // Failed only when no service answered; two failures and a "none" is none.
    services[lrclib] = [](const HttpRequest &) { return Answer{reply(200, "<html>")}; };
    services.erase(netease);
    load(u"Olive Oil Blues"_s, u"The Condiments"_s, {}, 234000);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::unavailable);
    services.erase(kugou);
    load(u"Olive Oil Blues"_s, u"The Condiments"_s, {}, 234001);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::failed);
    // Without an artist only LRCLIB is asked: its failure is the lookup's.
    load(u"Olive Oil Blues"_s, QString(), {}, 234000);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::failed);

    load(QString(), QString());
    EXPECT_EQ(notes.lyricsState(), TrackNotes::idle);
    EXPECT_TRUE(notes.loaded().isEmpty());
    EXPECT_TRUE(notes.cover().isEmpty());
}

TEST_F(Fixture, BusyServiceThenTheRetry)
{
    // LRCLIB asked to wait longer than 2 s: no LRCLIB request, NetEase and Kugou asked.
    notes.setLyricsRetryAfter(clock.now().addMSecs(2001));
    QSignalSpy settled(&notes, &TrackNotes::settled);
    load(u"Salt & Pepper"_s, u"The Condiments"_s, {}, 201000);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::serviceBusy);
    EXPECT_EQ(requestsTo(lrclib), 0);
    EXPECT_EQ(requestsTo(netease), 1);
    EXPECT_EQ(settled.size(), 1);
    // When the back-off ends the retry asks LRCLIB and shows what it found.
    clock.advance(Millis(2001));
    drain();
    EXPECT_EQ(requestsTo(lrclib), 1);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::available);
    EXPECT_EQ(settled.size(), 2);

    // A 429 during the search turns into a back-off for the next track too.
    int busy = 1;
    services[lrclib] = [&busy](const HttpRequest &) {
        if (busy-- > 0)
            return Answer{reply(429, R"({"statusCode":429})", {{"Retry-After", "30"}})};
        return Answer{reply(200, "[]")};
    };
    load(u"Olive Oil Blues"_s, u"The Condiments"_s, {}, 234000);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::serviceBusy);
    EXPECT_EQ(notes.lyricsRetryAfter(), clock.now().addSecs(30));
    load(u"Vinegar Heart"_s, u"The Condiments"_s, {}, 188000);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::serviceBusy);
    EXPECT_EQ(requestsTo(lrclib), 2);
    // The first track's retry is stale now; the current one's finds nothing.
    clock.advance(Millis(30000));
    drain();
    EXPECT_EQ(notes.lyricsState(), TrackNotes::unavailable);
    EXPECT_EQ(notes.lyricTitle(), u"Vinegar Heart"_s);
    EXPECT_EQ(requestsTo(lrclib), 3);
}

TEST_F(Fixture, ShortBackoffWaitsThenAsks)
{
    notes.setLyricsRetryAfter(clock.now().addMSecs(2000)); // two seconds at most are waited for
    auto loading = notes.load(u"Salt & Pepper"_s, u"The Condiments"_s, {}, 201000);
    drain();
    EXPECT_EQ(notes.lyricsState(), TrackNotes::loading);
    clock.advance(Millis(1999));
    drain();
    EXPECT_EQ(requestsTo(lrclib), 0); // not a moment early
    clock.advance(Millis(1));
    await(std::move(loading));
    EXPECT_EQ(requestsTo(lrclib), 1);
    EXPECT_EQ(requestsTo(netease), 0);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::available);
}

TEST_F(Fixture, IdentityAndCache)
{
    load(u"Salt & Pepper"_s, u"The Condiments"_s, cover, 201000);
    const auto asked = transport.requests.size();
    const QUuid first = notes.requestID();
    // The same report again: nothing happens.
    load(u"Salt & Pepper"_s, u"The Condiments"_s, cover, 201000);
    EXPECT_EQ(transport.requests.size(), asked);
    EXPECT_EQ(notes.requestID(), first);

    // New artwork: loaded again, picture fetched, lyrics from the cache.
    const QUrl other(u"http://127.0.0.1:7105/cover/2.jpg"_s);
    load(u"Salt & Pepper"_s, u"The Condiments"_s, other, 201000);
    EXPECT_NE(notes.requestID(), first);
    EXPECT_EQ(requestsTo(lrclib), 1);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::available);
    EXPECT_EQ(lastTo(other.path(), art), other);

    // Another duration is another track and another key.
    load(u"Salt & Pepper"_s, u"The Condiments"_s, other, 246000);
    EXPECT_EQ(requestsTo(lrclib), 2);
    EXPECT_EQ(notes.lyricsState(), TrackNotes::unavailable); // the hit is 45 s off
    EXPECT_EQ(notes.cachedCount(), 1);
    // So is the same title by another artist.
    load(u"Salt & Pepper"_s, u"The Cruets"_s, other, 246000);
    EXPECT_EQ(requestsTo(lrclib), 3);
    EXPECT_EQ(notes.lyricArtists(), QStringList{u"The Cruets"_s});
}

TEST_F(Fixture, LateAnswerForAnOldTrackIsDropped)
{
    services[lrclib] = [](const HttpRequest &r) {
        const QString title = QUrlQuery(r.url).queryItemValue(u"track_name"_s, QUrl::FullyDecoded);
        if (title == u"Salt & Pepper"_s)
            return Answer{reply(200, hitOf(title, u"The Condiments"_s, 201.0, u"[00:01.00]old track"_s)), Millis(5000)};
        return Answer{reply(200, hitOf(title, u"The Condiments"_s, 234.0, u"[00:01.00]new track"_s))};
    };
    services[itunes] = [](const HttpRequest &) {
        return Answer{reply(200, R"({"results":[{"kind":"song","trackId":1603550701,"trackName":"Salt & Pepper","artistName":"The Condiments","collectionName":"Kitchen Songs","trackTimeMillis":201000}]})"),
                      Millis(5000)};
    };
    auto first = notes.load(u"Salt & Pepper"_s, u"The Condiments"_s, {}, 201000);
    drain();
    services[itunes] = [](const HttpRequest &) { return Answer{reply(200, R"({"results":[]})")}; };
    load(u"Olive Oil Blues"_s, u"The Condiments"_s, {}, 234000);
    EXPECT_EQ(notes.lines(), QList<TrackLine>{(TrackLine{1000, u"new track"_s})});
    QSignalSpy lines(&notes, &TrackNotes::linesChanged);
    QSignalSpy album(&notes, &TrackNotes::albumChanged);
    clock.advance(Millis(5000));
    await(std::move(first));
    EXPECT_EQ(lines.size(), 0);
    EXPECT_EQ(album.size(), 0);
    EXPECT_EQ(notes.lines(), QList<TrackLine>{(TrackLine{1000, u"new track"_s})});
    EXPECT_TRUE(notes.album().isEmpty());
    EXPECT_FALSE(notes.cachedLyrics(TrackNotes::lyricsKey(u"Salt & Pepper"_s, {u"The Condiments"_s}, 201000)));
}

TEST_F(Fixture, CatalogMatchAndArtwork)
{
    services[itunes] = [](const HttpRequest &r) {
        if (r.url.path() == u"/lookup"_s)
            return Answer{reply(200, uR"json({"results":[{"kind":"song","trackId":1700112236,"trackName":"夜车 (电影《夜行》主题曲)","artistName":"林晓风","collectionName":"晚风里的城市","trackTimeMillis":276000,"artworkUrl100":"http://127.0.0.1:7105/a/100x100bb.png"}]})json"_s.toUtf8())};
        return Answer{reply(200, uR"json({"resultCount":3,"results":[
            {"wrapperType":"collection","collectionName":"晚風裡的城市"},
            {"kind":"song","trackId":1,"trackName":"夜車","artistName":"別人","collectionName":"X","trackTimeMillis":276000},
            {"kind":"song","trackId":1700112236,"trackName":"夜車 (電影《夜行》主題曲)","artistName":"林曉風","collectionName":"晚風裡的城市","trackTimeMillis":277000,"artworkUrl100":"http://127.0.0.1:7105/a/100x100bb.png"}]})json"_s.toUtf8())};
    };
    load(u"夜车"_s, u"林晓风"_s, {}, 276000);
    EXPECT_EQ(notes.catalogSongID(), std::optional<QString>(u"1700112236"_s));
    EXPECT_EQ(notes.album(), u"晚风里的城市"_s); // in the script of the title
    EXPECT_EQ(notes.cover(), QUrl(u"http://127.0.0.1:7105/a/100x100bb.png"_s));
    EXPECT_EQ(notes.picture(), "PNGBYTES");
    EXPECT_EQ(QUrlQuery(lastTo(u"/search"_s)).queryItemValue(u"term"_s, QUrl::FullyDecoded), u"夜车 林晓风"_s);
    EXPECT_EQ(lastTo(u"/lookup"_s).query(), u"id=1700112236&country=cn&lang=zh_CN"_s);

    // A Traditional title whose lookup comes back Simplified keeps the search's names.
    load(u"夜車"_s, u"林曉風"_s, {}, 276000);
    EXPECT_EQ(notes.album(), u"晚風裡的城市"_s);
    EXPECT_EQ(lastTo(u"/lookup"_s).query(), u"id=1700112236&country=tw&lang=zh_TW"_s);

    // A failing catalog and picture leave the media empty and the lyrics alone.
    services[itunes] = [](const HttpRequest &) { return Answer{reply(500, "oops")}; };
    services[art] = [](const HttpRequest &) { return Answer{reply(404, "")}; };
    load(u"Salt & Pepper"_s, u"The Condiments"_s, cover, 201000);
    EXPECT_TRUE(notes.album().isEmpty());
    EXPECT_FALSE(notes.catalogSongID());
    EXPECT_TRUE(notes.picture().isEmpty());
    EXPECT_EQ(notes.lyricsState(), TrackNotes::available);
}

namespace {

// What the session shows, with the same property names and signals.
class PlayingNow : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title MEMBER title NOTIFY titleChanged)
    Q_PROPERTY(QString artist MEMBER artist NOTIFY artistChanged)
    Q_PROPERTY(QUrl artwork MEMBER artwork NOTIFY artworkChanged)
    Q_PROPERTY(qint64 durationMillis MEMBER durationMillis NOTIFY durationMillisChanged)
    Q_PROPERTY(qint64 positionMillis MEMBER positionMillis NOTIFY positionMillisChanged)
public:
    QString title;
    QString artist;
    QUrl artwork;
    qint64 durationMillis = 0;
    qint64 positionMillis = 0;

    void show(const QString &t, const QString &a, qint64 d)
    {
        title = t;
        Q_EMIT titleChanged();
        artist = a;
        Q_EMIT artistChanged();
        durationMillis = d;
        Q_EMIT durationMillisChanged();
    }

Q_SIGNALS:
    void titleChanged();
    void artistChanged();
    void artworkChanged();
    void durationMillisChanged();
    void positionMillisChanged();
};

} // namespace

TEST(NowPlayingFollower, OneLoadPerChangeOfTrack)
{
    RecordingTransport transport([](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        if (r.url.path() == u"/api/search"_s)
            co_return reply(200, "[]");
        co_return reply(200, "{}");
    });
    VirtualClock clock;
    TrackNotes notes(transport, clock, scriptedServices());
    PlayingNow session;
    NowPlayingFollower follower(&session, &notes);

    // Title, artist and duration change in one reading: one load, with all three.
    session.show(u"Salt & Pepper"_s, u"The Condiments"_s, 201000);
    drain();
    EXPECT_EQ(notes.lyricArtists(), QStringList{u"The Condiments"_s});
    EXPECT_EQ(notes.lyricDurationMillis(), 201000);
    EXPECT_EQ(std::count_if(transport.requests.begin(), transport.requests.end(), [](const HttpRequest &r) { return r.url.port() == lrclibPort; }), 1);
    const auto asked = transport.requests.size();

    // The position moving on is no new track.
    session.positionMillis = 5000;
    Q_EMIT session.positionMillisChanged();
    session.show(u"Salt & Pepper"_s, u"The Condiments"_s, 201000);
    drain();
    EXPECT_EQ(transport.requests.size(), asked);

    // New artwork is.
    session.artwork = QUrl(u"http://127.0.0.1:7105/art.jpg"_s);
    Q_EMIT session.artworkChanged();
    drain();
    EXPECT_EQ(notes.cover(), session.artwork);

    // Nothing playing any more.
    session.show(QString(), QString(), 0);
    drain();
    EXPECT_EQ(notes.lyricsState(), TrackNotes::idle);
}

TEST(TrackLinesModel, MirrorsTheLines)
{
    RecordingTransport transport([](const HttpRequest &r, CancelToken) -> QCoro::Task<HttpResponse> {
        if (r.url.path() == u"/api/search"_s)
            co_return reply(200, R"([{"trackName":"Olive Oil Blues","artistName":"The Condiments","duration":234.0,"plainLyrics":"Pour it slow\nOlive oil blues","syncedLyrics":"[00:01.00]Pour it slow"}])");
        co_return reply(200, "{}");
    });
    VirtualClock clock;
    TrackNotes notes(transport, clock, scriptedServices());
    TrackLinesModel model(&notes);
    QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Warning);
    QSignalSpy resets(&model, &QAbstractItemModel::modelReset);

    await(notes.load(u"Olive Oil Blues"_s, u"The Condiments"_s, {}, 234000));
    ASSERT_EQ(model.rowCount(), 1);
    const QModelIndex first = model.index(0);
    EXPECT_EQ(model.data(first, TrackLinesModel::TextRole).toString(), u"Pour it slow"_s);
    EXPECT_EQ(model.data(first, TrackLinesModel::TimeRole).toLongLong(), 1000);
    EXPECT_TRUE(model.data(first, TrackLinesModel::TimedRole).toBool());

    await(notes.load(QString(), QString(), {}, 0));
    EXPECT_EQ(model.rowCount(), 0);
    EXPECT_GE(resets.size(), 2);
}

#include "tracknotes_test.moc"
