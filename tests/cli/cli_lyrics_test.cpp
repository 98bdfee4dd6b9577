// velottectl lyrics: the text and JSON forms and the exit status. Which
// service answers what is the track notes loader's, tested there.
#include "clirunner.h"

#include "services/fakeitunes.h"
#include "services/fakekugou.h"
#include "services/fakelrclib.h"
#include "services/fakenetease.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte;
using namespace velotte::test;

namespace {
struct CliLyrics : SpeakerCli<59> {
    fake::FakeLrclib lrclib;
    fake::FakeNetEase netease;
    fake::FakeKugou kugou;
    fake::FakeItunes itunes;

    void SetUp() override
    {
        SpeakerCli::SetUp();
        ASSERT_TRUE(lrclib.listen() && netease.listen() && kugou.listen() && itunes.listen());
        setService(u"lrclib"_s, lrclib.baseUrl());
        setService(u"netease"_s, netease.baseUrl());
        setService(u"kugou"_s, kugou.baseUrl());
        setService(u"itunes"_s, itunes.baseUrl());
    }
    QJsonObject json(int exit = 0)
    {
        const CliResult r = ctl({u"lyrics"_s, u"--json"_s});
        EXPECT_EQ(r.exit, exit) << r.err.toStdString();
        return QJsonDocument::fromJson(r.out.toUtf8()).object();
    }
};
} // namespace

TEST_F(CliLyrics, TextJsonFollowAndExitStatus)
{
    // Clair de lune: LRCLIB knows it has no words.
    EXPECT_EQ(ctl({u"lyrics"_s}).out, u"Clair de lune — Claude Debussy\nLyrics not available for this song.\n"_s);
    QJsonObject o = json();
    EXPECT_EQ(o[u"state"_s].toString(), u"instrumental"_s);
    EXPECT_TRUE(o[u"source"_s].isNull());

    living().track = 1; // Salt & Pepper
    const QStringList lines = ctl({u"lyrics"_s}).out.split(u'\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 10);
    EXPECT_EQ(lines[0], u"Salt & Pepper — The Condiments"_s);
    EXPECT_EQ(lines[1], u"[00:12.40] Shake a little, shake it slow"_s);
    EXPECT_EQ(lines[9], u"Lyrics from LRCLIB <https://lrclib.net>"_s);
    o = json();
    EXPECT_EQ(o.keys(), (QStringList{u"artist"_s, u"lines"_s, u"source"_s, u"state"_s, u"title"_s}));
    EXPECT_EQ(o[u"source"_s].toString(), u"LRCLIB"_s);
    ASSERT_EQ(o[u"lines"_s].toArray().size(), 8);
    EXPECT_EQ(o[u"lines"_s][0].toObject(), (QJsonObject{{u"time"_s, 12400}, {u"text"_s, u"Shake a little, shake it slow"_s}}));

    // Following marks the current line once, after the credit.
    ASSERT_EQ(ctl({u"seek"_s, u"0:40"_s}).exit, 0);
    ASSERT_EQ(ctl({u"play"_s}).exit, 0);
    const CliResult r = ctl({u"lyrics"_s, u"--follow"_s, u"--seconds"_s, u"4"_s});
    ASSERT_EQ(r.exit, 0) << r.err.toStdString();
    const qsizetype credit = r.out.indexOf(u"Lyrics from LRCLIB"_s);
    EXPECT_GT(credit, 0);
    EXPECT_GT(r.out.indexOf(u"▶ [00:41.75] "_s), credit) << r.out.toStdString();
    EXPECT_EQ(r.out.count(u"▶ [00:41.75]"_s), 1);

    // Plain lyrics have no times.
    living().queue[2] = {u"Olive Oil Blues"_s, u"The Condiments"_s, u"Kitchen Songs"_s, 234000, u"x-sonos-http:song%3a8.mp4?sid=204"_s};
    living().track = 2;
    o = json();
    EXPECT_TRUE(o[u"lines"_s][0][u"time"_s].isNull());
    EXPECT_EQ(o[u"lines"_s][0][u"text"_s].toString(), u"Pour it slow, pour it gold"_s);

    lrclib.malformed = true;
    netease.failStatus = 503;
    kugou.malformed = true;
    living().queue[2].title = u"Vinegar Heart"_s;
    EXPECT_EQ(json(1)[u"state"_s].toString(), u"failed"_s);
    const CliResult wrong = ctl({u"lyrics"_s, u"--bogus"_s});
    EXPECT_EQ(wrong.exit, 2);
    EXPECT_TRUE(wrong.err.contains(u"lyrics takes only --follow and --seconds N."_s)) << wrong.err.toStdString();
}
