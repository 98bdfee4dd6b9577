#include "clirunner.h"

#include "services/fakespeakers.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QDir>
#include <QFile>
#include <QSet>
#include <QSettings>

using namespace velotte;
using namespace velotte::test;

namespace {
// Each test binary takes its own loopback block, so parallel tests never meet.
struct CliLocal : ::testing::Test {
    QTemporaryDir home;
    fake::FakeSpeakers speakers{QStringLiteral("127.0.42.11"), 5};

    void SetUp() override
    {
        if (!speakers.start())
            GTEST_SKIP() << "cannot bind port 1400 on 127.0.42.x (needs root)";
    }
    CliResult ctl(QStringList args)
    {
        args.prepend(speakers.visibleHosts().join(QLatin1Char(',')));
        args.prepend(QStringLiteral("--speakers"));
        return runCli(args, home);
    }
    fake::FakeSpeakers::Speaker &living() { return speakers.speakers[0]; }
    fake::FakeSpeakers::Speaker &kitchen() { return speakers.speakers[2]; }
};
} // namespace

TEST_F(CliLocal, RoomsAndStatusFromTheSpeakers)
{
    const auto rooms = ctl({QStringLiteral("rooms"), QStringLiteral("--json")});
    ASSERT_EQ(rooms.exit, 0) << rooms.err.toStdString();
    const QJsonArray groups = QJsonDocument::fromJson(rooms.out.toUtf8()).array();
    ASSERT_EQ(groups.size(), 4); // the stereo partner is not a room of its own
    const QJsonObject first = groups[0].toObject();
    EXPECT_EQ(first.value(QStringLiteral("name")).toString(), QStringLiteral("Living Room"));
    EXPECT_EQ(first.value(QStringLiteral("players")).toArray().size(), 1);
    EXPECT_EQ(first.value(QStringLiteral("players")).toArray()[0].toObject().value(QStringLiteral("host")).toString(), QStringLiteral("127.0.42.11"));
    // The rooms the shell's completion offers, without asking the network.
    QFile cache(home.filePath(QStringLiteral("cache/velotte/rooms")));
    ASSERT_TRUE(cache.open(QIODevice::ReadOnly));
    const QStringList cached = QString::fromUtf8(cache.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    EXPECT_TRUE(cached.contains(QStringLiteral("Living Room"))) << cached.join(QLatin1Char('|')).toStdString();
    EXPECT_EQ(cached.size(), QSet<QString>(cached.begin(), cached.end()).size()); // a stereo pair is one room

    const auto status = ctl({QStringLiteral("status"), QStringLiteral("--json")});
    const QJsonObject s = QJsonDocument::fromJson(status.out.toUtf8()).object();
    EXPECT_EQ(s.value(QStringLiteral("title")).toString(), QStringLiteral("Clair de lune"));
    EXPECT_TRUE(s.value(QStringLiteral("playing")).toBool());
    EXPECT_EQ(s.value(QStringLiteral("durationMillis")).toInteger(), 300000);
    EXPECT_GE(s.value(QStringLiteral("positionMillis")).toInteger(), 42000);
}

TEST_F(CliLocal, TransportCommandsChangeTheSpeaker)
{
    EXPECT_EQ(ctl({QStringLiteral("pause")}).exit, 0);
    EXPECT_EQ(living().state, QStringLiteral("PAUSED_PLAYBACK"));
    EXPECT_EQ(ctl({QStringLiteral("play")}).exit, 0);
    EXPECT_EQ(living().state, QStringLiteral("PLAYING"));
    EXPECT_EQ(ctl({QStringLiteral("toggle")}).exit, 0);
    EXPECT_EQ(living().state, QStringLiteral("PAUSED_PLAYBACK"));
    EXPECT_EQ(ctl({QStringLiteral("next")}).exit, 0);
    EXPECT_EQ(living().track, 1);
    const auto status = ctl({QStringLiteral("status")});
    EXPECT_TRUE(status.out.contains(QStringLiteral("Salt & Pepper — The Condiments"))) << status.out.toStdString();
    EXPECT_EQ(ctl({QStringLiteral("seek"), QStringLiteral("1:30")}).exit, 0);
    EXPECT_EQ(living().position, 90000);
    EXPECT_EQ(ctl({QStringLiteral("seek"), QStringLiteral("50%")}).exit, 0);
    EXPECT_EQ(living().position, 100000); // half of 3:21, to the second
    EXPECT_EQ(ctl({QStringLiteral("previous")}).exit, 0); // past 3 s: back to the start
    EXPECT_EQ(living().position, 0);
    EXPECT_EQ(living().track, 1);
    EXPECT_EQ(ctl({QStringLiteral("previous")}).exit, 0);
    EXPECT_EQ(living().track, 0);
    living().queue[0].duration = 2 * 3600 * 1000; // an hour-long position: hours, and minutes that wrap
    EXPECT_EQ(ctl({QStringLiteral("seek"), QStringLiteral("1:02:05")}).exit, 0);
    EXPECT_TRUE(ctl({QStringLiteral("status")}).out.contains(QStringLiteral("1:02:05 / 2:00:00")));
    EXPECT_EQ(ctl({QStringLiteral("shuffle"), QStringLiteral("on")}).exit, 0);
    EXPECT_EQ(living().playMode, QStringLiteral("SHUFFLE_NOREPEAT"));
    EXPECT_EQ(ctl({QStringLiteral("--room"), QStringLiteral("kitchen"), QStringLiteral("play")}).exit, 0);
    EXPECT_EQ(kitchen().state, QStringLiteral("PLAYING"));
}

TEST_F(CliLocal, SoundCommands)
{
    EXPECT_EQ(ctl({QStringLiteral("volume"), QStringLiteral("35")}).exit, 0);
    EXPECT_EQ(living().volume, 35);
    EXPECT_EQ(ctl({QStringLiteral("volume"), QStringLiteral("+5")}).exit, 0);
    EXPECT_EQ(living().volume, 40);
    EXPECT_EQ(ctl({QStringLiteral("volume"), QStringLiteral("150")}).exit, 0);
    EXPECT_EQ(living().volume, 100);
    EXPECT_EQ(ctl({QStringLiteral("volume"), QStringLiteral("-15")}).exit, 0);
    EXPECT_EQ(living().volume, 85);
    EXPECT_EQ(ctl({QStringLiteral("mute"), QStringLiteral("on")}).exit, 0);
    EXPECT_TRUE(living().muted);
    EXPECT_EQ(ctl({QStringLiteral("bass"), QStringLiteral("4")}).exit, 0);
    EXPECT_EQ(living().bass, 4);
    EXPECT_TRUE(ctl({QStringLiteral("bass")}).out.contains(QStringLiteral("bass 4")));
    EXPECT_EQ(ctl({QStringLiteral("volume"), QStringLiteral("--player"), QStringLiteral("Kitchen"), QStringLiteral("9")}).exit, 0);
    EXPECT_EQ(kitchen().volume, 9);
}

TEST_F(CliLocal, GroupingChangesTheTopology)
{
    const auto joined = ctl({QStringLiteral("group"), QStringLiteral("Living Room"), QStringLiteral("Kitchen"), QStringLiteral("Bedroom")});
    ASSERT_EQ(joined.exit, 0) << joined.err.toStdString();
    EXPECT_EQ(kitchen().follows, living().id);
    EXPECT_EQ(speakers.speakers[3].follows, living().id);
    EXPECT_EQ(ctl({QStringLiteral("ungroup"), QStringLiteral("Kitchen")}).exit, 0);
    EXPECT_EQ(kitchen().follows, kitchen().id);
    // The coordinator leaving hands the group over first.
    const auto handed = ctl({QStringLiteral("group"), QStringLiteral("Bedroom")});
    ASSERT_EQ(handed.exit, 0) << handed.err.toStdString();
    EXPECT_EQ(speakers.speakers[3].follows, speakers.speakers[3].id);
    EXPECT_EQ(living().follows, living().id);
}

TEST_F(CliLocal, FaultsGiveTheSentences)
{
    living().upnpErrors.insert(QStringLiteral("Pause"), 701);
    const auto refused = ctl({QStringLiteral("pause")});
    EXPECT_EQ(refused.exit, 1);
    // A fault is an answer: the action's sentence with the code, not "did not answer".
    EXPECT_EQ(refused.err.trimmed(), QStringLiteral("Could not pause in Living Room. What is playing now does not allow that (701)."));
    living().upnpErrors.insert(QStringLiteral("Next"), 701);
    EXPECT_EQ(ctl({QStringLiteral("next")}).err.trimmed(), QStringLiteral("Could not play the next song in Living Room. What is playing now does not allow that (701)."));
    living().upnpErrors.clear();

    // Local control switched off answers 403 to everything: said plainly.
    living().forbidden = true;
    const auto status = ctl({QStringLiteral("status")});
    EXPECT_EQ(status.exit, 1);
    EXPECT_TRUE(status.out.contains(QStringLiteral("This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer.")))
        << status.out.toStdString() << status.err.toStdString();
    for (const QString &command : {QStringLiteral("play"), QStringLiteral("next"), QStringLiteral("bass")}) {
        const auto r = ctl({command});
        EXPECT_EQ(r.exit, 1) << command.toStdString();
        EXPECT_TRUE(r.err.contains(QStringLiteral("This speaker has local control switched off."))) << command.toStdString() << r.err.toStdString();
    }
    for (auto &s : speakers.speakers)
        s.forbidden = true;
    const auto rooms = ctl({QStringLiteral("rooms")});
    EXPECT_EQ(rooms.exit, 1);
    EXPECT_TRUE((rooms.out + rooms.err)
                    .contains(QStringLiteral("Your Sonos speakers have local control switched off. Switch it on in the Sonos app, or sign in to Sonos to use them through your account.")))
        << rooms.err.toStdString();
    for (auto &s : speakers.speakers)
        s.forbidden = false;

    living().forbidden = false;
    living().latencyMs = 6000; // longer than the 4-second time-out
    const auto slow = ctl({QStringLiteral("next")});
    EXPECT_EQ(slow.exit, 1);
}

TEST_F(CliLocal, RoomsWithNothingToSeekOrSing)
{
    // A TV input has no length and no song.
    kitchen().streamURI = QStringLiteral("x-sonos-htastream:RINCON_347E5C0D000401400:spdif");
    const auto seek = ctl({QStringLiteral("--room"), QStringLiteral("Kitchen"), QStringLiteral("seek"), QStringLiteral("1:00")});
    EXPECT_EQ(seek.exit, 1);
    EXPECT_EQ(seek.err.trimmed(), QStringLiteral("This source has no length to seek in."));
    kitchen().streamURI.clear();
    kitchen().queue.clear();
    const auto lyrics = ctl({QStringLiteral("--room"), QStringLiteral("Kitchen"), QStringLiteral("lyrics")});
    EXPECT_EQ(lyrics.out.trimmed(), QStringLiteral("Nothing is playing in Kitchen.")) << lyrics.err.toStdString();
    const auto following = ctl({QStringLiteral("--room"), QStringLiteral("Kitchen"), QStringLiteral("lyrics"), QStringLiteral("--follow"),
                                QStringLiteral("--seconds"), QStringLiteral("1")});
    EXPECT_EQ(following.out.trimmed(), QStringLiteral("Nothing is playing.")) << following.err.toStdString();
    // Rooms found on the network have no Sonos favorites.
    const auto favorites = ctl({QStringLiteral("favorites")});
    EXPECT_TRUE((favorites.out + favorites.err).contains(QStringLiteral("There are no favorites in this household."))) << favorites.out.toStdString() << favorites.err.toStdString();
    QDir().mkpath(home.filePath(QStringLiteral("config/velotte")));
    QSettings config(home.filePath(QStringLiteral("config/velotte/velotte.conf")), QSettings::IniFormat);
    config.setValue(QStringLiteral("services/model"), QStringLiteral("http://127.0.0.1:9"));
    config.sync();
    const auto suggest = ctl({QStringLiteral("suggest"), QStringLiteral("something calm")});
    EXPECT_TRUE((suggest.out + suggest.err).contains(QStringLiteral("There are no favorites to suggest from."))) << suggest.out.toStdString() << suggest.err.toStdString();
}
