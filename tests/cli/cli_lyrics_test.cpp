#include "clirunner.h"

#include "services/fakeitunes.h"
#include "services/fakekugou.h"
#include "services/fakelrclib.h"
#include "services/fakenetease.h"
#include "services/fakespeakers.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>

using namespace velotte;
using namespace velotte::test;
using namespace Qt::Literals::StringLiterals;

namespace {
// Speakers on their own loopback block, lyric and catalog services on
// loopback ports named in the run's own settings file.
struct CliLyrics : ::testing::Test {
    QTemporaryDir home;
    fake::FakeSpeakers speakers{u"127.0.59.11"_s, 3};
    fake::FakeLrclib lrclib;
    fake::FakeNetEase netease;
    fake::FakeKugou kugou;
    fake::FakeItunes itunes;

    void SetUp() override
    {
        if (!speakers.start())
            GTEST_SKIP() << "cannot bind port 1400 on 127.0.59.x (needs root)";
        ASSERT_TRUE(lrclib.listen() && netease.listen() && kugou.listen() && itunes.listen());
        QDir().mkpath(home.filePath(u"config/velotte"_s));
        QSettings conf(home.filePath(u"config/velotte/velotte.conf"_s), QSettings::IniFormat);
        conf.setValue(u"services/lrclib"_s, lrclib.baseUrl().toString());
        conf.setValue(u"services/netease"_s, netease.baseUrl().toString());
        conf.setValue(u"services/kugou"_s, kugou.baseUrl().toString());
        conf.setValue(u"services/itunes"_s, itunes.baseUrl().toString());
    }
    CliResult ctl(QStringList args)
    {
        args.prepend(speakers.visibleHosts().join(u','));
        args.prepend(u"--speakers"_s);
        return runCli(args, home);
    }
    QJsonObject json()
    {
        const CliResult r = ctl({u"lyrics"_s, u"--json"_s});
        EXPECT_EQ(r.exit, 0) << r.err.toStdString();
        return QJsonDocument::fromJson(r.out.toUtf8()).object();
    }
    fake::FakeSpeakers::Speaker &living() { return speakers.speakers[0]; }
};
} // namespace

TEST_F(CliLyrics, SyncedLyricsWithTimesAndCredit)
{
    living().track = 1; // Salt & Pepper
    const CliResult r = ctl({u"lyrics"_s});
    ASSERT_EQ(r.exit, 0) << r.err.toStdString();
    const QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 10) << r.out.toStdString();
    EXPECT_EQ(lines[0], u"Salt & Pepper — The Condiments"_s);
    EXPECT_EQ(lines[1], u"[00:12.40] Shake a little, shake it slow"_s);
    EXPECT_EQ(lines[7], u"[01:31.10] Salt and pepper, side by side"_s);
    EXPECT_EQ(lines[9], u"Lyrics from LRCLIB <https://lrclib.net>"_s);

    const QJsonObject o = json();
    EXPECT_EQ(o.value(u"title"_s).toString(), u"Salt & Pepper"_s);
    EXPECT_EQ(o.value(u"artist"_s).toString(), u"The Condiments"_s);
    EXPECT_EQ(o.value(u"state"_s).toString(), u"available"_s);
    EXPECT_EQ(o.value(u"source"_s).toString(), u"LRCLIB"_s);
    const QJsonArray array = o.value(u"lines"_s).toArray();
    ASSERT_EQ(array.size(), 8);
    EXPECT_EQ(array[0].toObject().value(u"time"_s).toInteger(), 12400);
    EXPECT_EQ(array[0].toObject().value(u"text"_s).toString(), u"Shake a little, shake it slow"_s);
    EXPECT_EQ(o.keys(), (QStringList{u"artist"_s, u"lines"_s, u"source"_s, u"state"_s, u"title"_s}));
}

TEST_F(CliLyrics, StatesOtherServicesAndPlainText)
{
    // Clair de lune: LRCLIB knows it has no words.
    EXPECT_EQ(ctl({u"lyrics"_s}).out, u"Clair de lune — Claude Debussy\nLyrics not available for this song.\n"_s);
    QJsonObject o = json();
    EXPECT_EQ(o.value(u"state"_s).toString(), u"instrumental"_s);
    EXPECT_TRUE(o.value(u"source"_s).isNull());
    EXPECT_TRUE(o.value(u"lines"_s).toArray().isEmpty());

    living().queue[2] = {u"雲的另一邊"_s, u"林曉風"_s, u"晚風裡的城市"_s, 258000, u"x-sonos-http:song%3a9.mp4?sid=204"_s};
    living().track = 2;
    const CliResult kugouRun = ctl({u"lyrics"_s});
    EXPECT_TRUE(kugouRun.out.contains(u"[00:16.21] 如果云的另一边\n"_s)) << kugouRun.out.toStdString();
    EXPECT_TRUE(kugouRun.out.endsWith(u"Lyrics from KuGou Music <https://www.kugou.com>\n"_s)) << kugouRun.out.toStdString();

    living().queue[2] = {u"Olive Oil Blues"_s, u"The Condiments"_s, u"Kitchen Songs"_s, 234000, u"x-sonos-http:song%3a8.mp4?sid=204"_s};
    o = json();
    EXPECT_EQ(o.value(u"state"_s).toString(), u"available"_s);
    EXPECT_TRUE(o.value(u"lines"_s).toArray()[0].toObject().value(u"time"_s).isNull());
    EXPECT_EQ(o.value(u"lines"_s).toArray()[0].toObject().value(u"text"_s).toString(), u"Pour it slow, pour it gold"_s);

    living().queue[2] = {u"Blue Hour"_s, u"陳雨桐"_s, u"風箏"_s, 205000, u"x-sonos-http:song%3a7.mp4?sid=204"_s};
    EXPECT_EQ(json().value(u"state"_s).toString(), u"unavailable"_s);

    lrclib.busyCount = 9;
    lrclib.retryAfter = "120";
    EXPECT_EQ(json().value(u"state"_s).toString(), u"serviceBusy"_s);

    lrclib.busyCount = 0;
    lrclib.malformed = true;
    netease.failStatus = 503;
    kugou.malformed = true;
    const CliResult broken = ctl({u"lyrics"_s, u"--json"_s});
    EXPECT_EQ(broken.exit, 1);
    EXPECT_EQ(QJsonDocument::fromJson(broken.out.toUtf8()).object().value(u"state"_s).toString(), u"failed"_s);

    const CliResult wrong = ctl({u"lyrics"_s, u"--bogus"_s});
    EXPECT_EQ(wrong.exit, 2);
    EXPECT_TRUE(wrong.err.contains(u"lyrics takes only --follow and --seconds N."_s)) << wrong.err.toStdString();
}

TEST_F(CliLyrics, FollowMarksTheCurrentLine)
{
    living().track = 1;
    ASSERT_EQ(ctl({u"seek"_s, u"0:40"_s}).exit, 0);
    ASSERT_EQ(ctl({u"play"_s}).exit, 0);
    const CliResult r = ctl({u"lyrics"_s, u"--follow"_s, u"--seconds"_s, u"4"_s});
    ASSERT_EQ(r.exit, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.startsWith(u"Salt & Pepper — The Condiments\n[00:12.40]"_s)) << r.out.toStdString();
    const qsizetype credit = r.out.indexOf(u"Lyrics from LRCLIB"_s);
    const qsizetype marked = r.out.indexOf(u"▶ [00:41.75] "_s);
    EXPECT_GT(credit, 0);
    EXPECT_GT(marked, credit) << r.out.toStdString();
    // Each line is marked once.
    EXPECT_EQ(r.out.count(u"▶ [00:41.75]"_s), 1);
}
