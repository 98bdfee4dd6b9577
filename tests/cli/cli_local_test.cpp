// What velottectl itself adds on the speakers: its words, its output, its
// exit status. What the commands do to a room is the session's, tested there.
#include "clirunner.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

using namespace velotte;
using namespace velotte::test;

namespace {
struct CliLocal : SpeakerCli<42> {};
} // namespace

TEST_F(CliLocal, RoomsStatusAndRoomsWithNothingToDo)
{
    const auto rooms = ctl({u"rooms"_s, u"--json"_s});
    ASSERT_EQ(rooms.exit, 0) << rooms.err.toStdString();
    const QJsonArray groups = QJsonDocument::fromJson(rooms.out.toUtf8()).array();
    ASSERT_EQ(groups.size(), 4); // the stereo partner is not a room of its own
    const QJsonObject first = groups[0].toObject();
    EXPECT_EQ(first[u"name"_s].toString(), u"Living Room"_s);
    EXPECT_EQ(first[u"players"_s][0][u"host"_s].toString(), u"127.0.42.11"_s);
    // The rooms the shell's completion offers, without asking the network.
    QFile cache(home.filePath(u"cache/velotte/rooms"_s));
    ASSERT_TRUE(cache.open(QIODevice::ReadOnly));
    const QStringList cached = QString::fromUtf8(cache.readAll()).split(u'\n', Qt::SkipEmptyParts);
    EXPECT_TRUE(cached.contains(u"Living Room"_s)) << cached.join(u'|').toStdString();
    EXPECT_EQ(cached.size(), QSet<QString>(cached.begin(), cached.end()).size()); // a stereo pair is one room

    // An hour-long position: hours, and minutes that wrap.
    living().queue[0].duration = 2 * 3600 * 1000;
    EXPECT_EQ(ctl({u"seek"_s, u"1:02:05"_s}).exit, 0);
    const auto status = ctl({u"status"_s});
    EXPECT_TRUE(status.out.contains(u"1:02:05 / 2:00:00"_s)) << status.out.toStdString();
    // A room that cannot be read fails the command, for scripts to see.
    living().forbidden = true;
    const auto refused = ctl({u"status"_s});
    EXPECT_EQ(refused.exit, 1);
    EXPECT_TRUE(refused.out.contains(u"This speaker has local control switched off."_s)) << refused.out.toStdString();
    living().forbidden = false;

    // A TV input has no length and no song.
    kitchen().streamURI = u"x-sonos-htastream:RINCON_347E5C0D000401400:spdif"_s;
    const auto seek = ctl({u"--room"_s, u"Kitchen"_s, u"seek"_s, u"1:00"_s});
    EXPECT_EQ(seek.exit, 1);
    EXPECT_EQ(seek.err.trimmed(), u"This source has no length to seek in."_s);
    kitchen().streamURI.clear();
    kitchen().queue.clear();
    EXPECT_EQ(ctl({u"--room"_s, u"Kitchen"_s, u"lyrics"_s}).out.trimmed(), u"Nothing is playing in Kitchen."_s);
    EXPECT_EQ(ctl({u"--room"_s, u"Kitchen"_s, u"lyrics"_s, u"--follow"_s, u"--seconds"_s, u"1"_s}).out.trimmed(), u"Nothing is playing."_s);
    // Rooms found on the network have no Sonos favorites.
    const auto favorites = ctl({u"favorites"_s});
    EXPECT_TRUE((favorites.out + favorites.err).contains(u"There are no favorites in this household."_s)) << favorites.out.toStdString();

    for (auto &s : speakers.speakers)
        s.forbidden = true;
    const auto none = ctl({u"rooms"_s});
    EXPECT_EQ(none.exit, 1);
    EXPECT_TRUE((none.out + none.err)
                    .contains(u"Your Sonos speakers have local control switched off. Switch it on in the Sonos app, or sign in to Sonos to use them through your account."_s))
        << none.err.toStdString();
}

TEST_F(CliLocal, QueueAndSleepTimer)
{
    const auto before = living().queue;
    ASSERT_GE(before.size(), 3);
    const auto listed = ctl({u"--json"_s, u"queue"_s});
    const QJsonArray tracks = QJsonDocument::fromJson(listed.out.toUtf8()).array();
    ASSERT_EQ(tracks.size(), before.size()) << listed.err.toStdString();
    EXPECT_EQ(tracks[0][u"title"_s].toString(), before[0].title);
    EXPECT_TRUE(tracks[living().track][u"current"_s].toBool());
    // Positions count from 1, as the listing shows them.
    EXPECT_EQ(ctl({u"queue"_s, u"move"_s, u"1"_s, u"3"_s}).exit, 0);
    EXPECT_EQ(living().queue[2].title, before[0].title);
    EXPECT_EQ(ctl({u"queue"_s, u"remove"_s, u"3"_s}).exit, 0);
    EXPECT_EQ(living().queue.size(), before.size() - 1);
    EXPECT_EQ(ctl({u"queue"_s, u"jump"_s, u"2"_s}).exit, 0);
    EXPECT_EQ(living().track, 1);
    EXPECT_EQ(ctl({u"queue"_s, u"jump"_s, u"99"_s}).exit, 2);
    EXPECT_EQ(ctl({u"queue"_s, u"clear"_s}).exit, 0);
    EXPECT_TRUE(ctl({u"queue"_s}).out.contains(u"The queue is empty."_s));

    const auto set = ctl({u"sleep"_s, u"30m"_s});
    ASSERT_EQ(set.exit, 0) << set.err.toStdString();
    EXPECT_TRUE(set.out.contains(u"Living Room pauses in "_s)) << set.out.toStdString();
    EXPECT_GT(QJsonDocument::fromJson(ctl({u"--json"_s, u"sleep"_s}).out.toUtf8()).object()[u"remainingMillis"_s].toDouble(), 29 * 60000);
    EXPECT_TRUE(ctl({u"sleep"_s, u"off"_s}).out.contains(u"No sleep timer runs in Living Room."_s));
    EXPECT_EQ(ctl({u"sleep"_s, u"soon"_s}).exit, 2);

    ASSERT_TRUE(speakers.inject(living().host + u"=upnp:RemoveAllTracksFromQueue:701"_s));
    const auto clear = ctl({u"queue"_s, u"clear"_s});
    EXPECT_EQ(clear.exit, 1);
    EXPECT_TRUE(clear.err.startsWith(u"Could not change the queue. "_s)) << clear.err.toStdString();

    // A speaker that refuses says so, for the queue and the timer alike.
    living().forbidden = true;
    const QString off = u"This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s;
    const auto queue = ctl({u"queue"_s});
    EXPECT_EQ(queue.exit, 1);
    EXPECT_EQ(queue.err.trimmed(), u"Could not read the queue. "_s + off);
    const auto sleep = ctl({u"sleep"_s, u"1h"_s});
    EXPECT_EQ(sleep.exit, 1);
    EXPECT_TRUE(sleep.err.contains(u"Could not set the sleep timer. "_s + off)) << sleep.err.toStdString();
}

TEST_F(CliLocal, TheWordsOfEachCommand)
{
    struct Case {
        QStringList args;
        std::function<bool()> done;
    };
    // What a command does to a room is the session's; here, that each word reaches it.
    const std::vector<Case> cases{
        {{u"pause"_s}, [&] { return living().state == u"PAUSED_PLAYBACK"_s; }},
        {{u"next"_s}, [&] { return living().track == 1; }},
        {{u"seek"_s, u"1:30"_s}, [&] { return living().position == 90000; }},
        {{u"seek"_s, u"50%"_s}, [&] { return living().position == 100000; }}, // half of 3:21, to the second
        {{u"shuffle"_s, u"on"_s}, [&] { return living().playMode == u"SHUFFLE_NOREPEAT"_s; }},
        {{u"volume"_s, u"35"_s}, [&] { return living().volume == 35; }},
        {{u"volume"_s, u"+5"_s}, [&] { return living().volume == 40; }},
        {{u"volume"_s, u"150"_s}, [&] { return living().volume == 100; }},
        {{u"volume"_s, u"-15"_s}, [&] { return living().volume == 85; }},
        {{u"mute"_s, u"on"_s}, [&] { return living().muted; }},
        {{u"bass"_s, u"4"_s}, [&] { return living().bass == 4; }},
        {{u"volume"_s, u"--player"_s, u"Kitchen"_s, u"9"_s}, [&] { return kitchen().volume == 9; }},
        {{u"--room"_s, u"kitchen"_s, u"play"_s}, [&] { return kitchen().state == u"PLAYING"_s; }},
        {{u"group"_s, u"Living Room"_s, u"Kitchen"_s, u"Bedroom"_s}, [&] { return kitchen().follows == living().id && bedroom().follows == living().id; }},
        {{u"ungroup"_s, u"Kitchen"_s}, [&] { return kitchen().follows == kitchen().id; }},
    };
    for (const Case &c : cases) {
        const auto r = ctl(c.args);
        EXPECT_EQ(r.exit, 0) << c.args.join(u' ').toStdString() << ": " << r.err.toStdString();
        EXPECT_TRUE(c.done()) << c.args.join(u' ').toStdString();
    }
    EXPECT_TRUE(ctl({u"bass"_s}).out.contains(u"bass 4"_s));
}
