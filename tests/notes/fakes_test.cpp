#include "notes/tracknotes.h"

#include "core/networktransport.h"
#include "services/fakeitunes.h"
#include "services/fakekugou.h"
#include "services/fakelrclib.h"
#include "services/fakenetease.h"
#include "testkit/testkit.h"

#include <QNetworkAccessManager>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {

// The loader over real sockets against the fake services on loopback.
struct AgainstFakes : ::testing::Test {
    fake::FakeLrclib lrclib;
    fake::FakeNetEase netease;
    fake::FakeKugou kugou;
    fake::FakeItunes itunes;
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    SystemClock clock;
    std::unique_ptr<TrackNotes> notes;

    void SetUp() override
    {
        ASSERT_TRUE(lrclib.listen() && netease.listen() && kugou.listen() && itunes.listen());
        ServiceAddresses a;
        a.lrclib = lrclib.baseUrl();
        a.netease = netease.baseUrl();
        a.kugou = kugou.baseUrl();
        a.itunes = itunes.baseUrl();
        notes = std::make_unique<TrackNotes>(transport, clock, a);
    }
    void load(const QString &title, const QString &artist, qint64 millis, const QUrl &artwork = {})
    {
        await(notes->load(title, artist, artwork, millis));
    }
};

} // namespace

TEST_F(AgainstFakes, LrclibSyncedPlainAndInstrumental)
{
    load(u"Salt & Pepper"_s, u"The Condiments"_s, 201000);
    EXPECT_EQ(notes->lyricsState(), TrackNotes::available);
    EXPECT_EQ(notes->lyricsCredit(), u"LRCLIB"_s);
    const QList<TrackLine> lines = notes->lines();
    ASSERT_EQ(lines.size(), 8);
    EXPECT_EQ(lines[0], (TrackLine{12400, u"Shake a little, shake it slow"_s}));
    EXPECT_EQ(lines[2], (TrackLine{23100, u"Salt and pepper, side by side"_s}));
    EXPECT_EQ(lines[6], (TrackLine{91100, u"Salt and pepper, side by side"_s}));
    EXPECT_EQ(notes->album(), u"Kitchen Songs"_s);
    EXPECT_EQ(notes->catalogSongIDText(), u"1603550701"_s);
    EXPECT_FALSE(notes->picture().isEmpty()); // the catalog's artwork stands in
    ASSERT_FALSE(lrclib.requests.isEmpty());
    EXPECT_EQ(lrclib.requests[0].header("User-Agent"), "Velotte/1.0 (https://velotte.app)");

    load(u"Olive Oil Blues"_s, u"The Condiments"_s, 234000);
    EXPECT_EQ(notes->lyricsState(), TrackNotes::available);
    ASSERT_EQ(notes->lines().size(), 4);
    EXPECT_FALSE(notes->lines()[0].time);
    EXPECT_EQ(notes->lines()[2].text, u"Olive oil blues"_s);

    load(u"Clair de lune"_s, u"Claude Debussy"_s, 300000);
    EXPECT_EQ(notes->lyricsState(), TrackNotes::instrumental);
    EXPECT_EQ(notes->album(), u"Suite bergamasque"_s);

    // Two versions on LRCLIB; the duration picks the studio one.
    load(u"風箏"_s, u"陳雨桐"_s, 219000);
    ASSERT_EQ(notes->lyricsState(), TrackNotes::available);
    EXPECT_EQ(notes->lines()[0].text, u"風箏飛過了屋頂"_s);
    EXPECT_EQ(notes->album(), u"風箏"_s);
}

TEST_F(AgainstFakes, ScriptsAndTheOtherServices)
{
    // LRCLIB files it in Simplified: the fourth query finds it.
    load(u"夜車 (電影《夜行》主題曲)"_s, u"林曉風"_s, 276000);
    ASSERT_EQ(notes->lyricsState(), TrackNotes::available);
    EXPECT_EQ(lrclib.requests.size(), 4);
    EXPECT_EQ(notes->lines()[1].text, u"窗外的灯一盏一盏熄灭"_s);
    EXPECT_EQ(notes->album(), u"晚風裡的城市"_s);

    load(u"舊街燈"_s, u"林曉風"_s, 243000);
    ASSERT_EQ(notes->lyricsState(), TrackNotes::available);
    EXPECT_EQ(notes->lyricsSource(), TrackLyricsSource::netEase(1901371001));
    EXPECT_EQ(notes->lyricsLink(), QUrl(u"https://music.163.com/song?id=1901371001"_s));
    EXPECT_EQ(notes->lines()[3], (TrackLine{18520, u"旧街灯下 我们说过的话"_s}));
    // NetEase set a cookie with its search; the lyric request did not send it back.
    ASSERT_EQ(netease.requests.size(), 2);
    EXPECT_TRUE(netease.requests[1].header("Cookie").isEmpty());
    EXPECT_EQ(QUrlQuery(netease.requests[0].url).queryItemValue(u"s"_s, QUrl::FullyDecoded), u"旧街灯 林晓风"_s);

    load(u"雲的另一邊"_s, u"林曉風"_s, 258000);
    ASSERT_EQ(notes->lyricsState(), TrackNotes::available);
    EXPECT_EQ(notes->lyricsCredit(), u"KuGou Music"_s);
    EXPECT_EQ(notes->lines()[1], (TrackLine{16210, u"如果云的另一边"_s}));

    // Kugou's two candidates are broken: not base64, not UTF-8.
    load(u"記得那天"_s, u"林曉風"_s, 231000);
    EXPECT_EQ(notes->lyricsState(), TrackNotes::unavailable);
    EXPECT_TRUE(notes->lines().isEmpty());
}

TEST_F(AgainstFakes, BusyAndBrokenServices)
{
    lrclib.busyCount = 1;
    lrclib.retryAfter = "30";
    load(u"Blue Hour"_s, u"陳雨桐"_s, 205000);
    EXPECT_EQ(notes->lyricsState(), TrackNotes::serviceBusy);
    ASSERT_TRUE(notes->lyricsRetryAfter());
    EXPECT_GE(clock.now().secsTo(*notes->lyricsRetryAfter()), 28);
    EXPECT_EQ(netease.requests.size(), 1);
    EXPECT_EQ(kugou.requests.size(), 1);
    // The back-off holds for the next track: NetEase answers it.
    load(u"Salt & Pepper"_s, u"The Condiments"_s, 201000);
    EXPECT_EQ(lrclib.requests.size(), 1);
    EXPECT_EQ(notes->lyricsCredit(), u"NetEase Cloud Music"_s);

    notes->setLyricsRetryAfter(std::nullopt);
    lrclib.malformed = true;
    netease.failStatus = 503;
    kugou.malformed = true;
    itunes.malformed = true;
    load(u"Olive Oil Blues"_s, u"The Condiments"_s, 234000);
    EXPECT_EQ(notes->lyricsState(), TrackNotes::failed);
    EXPECT_TRUE(notes->album().isEmpty());

    // A service that does not answer in time is a failure of its own.
    lrclib.malformed = false;
    lrclib.delayMs = 400;
    auto slow = notes->load(u"Gymnopédie No. 1"_s, u"Erik Satie"_s, {}, 185000);
    load(QString(), QString(), 0);
    await(std::move(slow));
    EXPECT_EQ(notes->lyricsState(), TrackNotes::idle);
}
