#include "sessionfixture.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace velotte;
using namespace velotte::test;
using namespace std::chrono_literals;

using Commands = Booted;

TEST_F(Commands, ToggleIsOptimisticOnceAndNoOlderReadUndoesIt)
{
    transport.hold = true;
    auto read = session->playback()->refreshPlayback(); // the cloud still says playing
    session->playback()->toggle();
    EXPECT_FALSE(session->playback()->isPlaying()); // at once
    EXPECT_TRUE(session->playback()->sendingPlaybackCommand());
    session->playback()->toggle(); // a second click during the command changes nothing
    session->playback()->skip(true);
    EXPECT_FALSE(session->playback()->isPlaying());
    transport.hold = false;
    // The old read's reply arrives while the pause is still out.
    transport.releaseWhere([](const fake::Request &r) { return r.method == "GET"; });
    test::drain();
    EXPECT_FALSE(session->playback()->isPlaying());
    transport.release();
    test::drain();
    EXPECT_FALSE(session->playback()->sendingPlaybackCommand());
    EXPECT_EQ(posts(), QStringList{QStringLiteral("playback/pause {}")});
    EXPECT_EQ(cloud.groups.front().state, QStringLiteral("PLAYBACK_STATE_PAUSED"));
    EXPECT_FALSE(session->playback()->isPlaying());
}

TEST_F(Commands, AnOlderReadThatAnswersLastChangesNothing)
{
    struct Case {
        const char *held; // the reply of the older read that arrives last
        std::function<void()> change;
        std::function<QString()> shown;
        std::function<QCoro::Task<void>()> read;
    };
    auto playback = [this] { return session->playback()->refreshPlayback(); };
    const Case cases[] = {
        {"/groups", [this] { cloud.players[0].name = QStringLiteral("Den"); }, [this] { return session->players().first().name; },
         [this] { return session->refresh(); }},
        {"/playbackMetadata", [this] { ++cloud.groups.front().track; }, [this] { return session->playback()->title(); }, playback},
        {"/groupVolume", [this] { cloud.groups.front().volume = 41; }, [this] { return QString::number(session->sound()->volume()); }, playback},
    };
    for (const Case &c : cases) {
        transport.holdIf = [&c](const fake::Request &r) { return r.target.endsWith(c.held); };
        auto older = c.read();
        transport.holdIf = nullptr;
        c.change();
        test::await(c.read());
        const QString newer = c.shown();
        transport.release();
        test::drain();
        EXPECT_EQ(c.shown(), newer) << c.held;
    }
}

TEST_F(Commands, PreviousRestartsAfterThreeSeconds)
{
    cloud.groups.front().state = QStringLiteral("PLAYBACK_STATE_PAUSED");
    cloud.groups.front().position = 3001;
    test::await(session->playback()->refreshPlayback());
    session->playback()->skip(false);
    test::drain();
    EXPECT_EQ(posts().last(), QStringLiteral("playback/seek {\"positionMillis\":0}"));

    cloud.groups.front().position = 3000;
    cloud.groups.front().track = 0;
    test::await(session->playback()->refreshPlayback());
    ASSERT_EQ(session->playback()->positionMillis(), 3000);
    session->playback()->skip(false);
    test::drain();
    EXPECT_EQ(posts().last(), QStringLiteral("playback/skipToPreviousTrack {}"));
}

TEST_F(Commands, UnavailableSkipsSayWhy)
{
    // A source that refuses both directions, read from a scripted reply.
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("playback$")), 200,
                    R"({"playbackState":"PLAYBACK_STATE_PLAYING","positionMillis":1000,"availablePlaybackActions":{"canSkip":false,"canSkipBack":false,"canSeek":true}})"});
    test::await(session->playback()->refreshPlayback());
    session->playback()->skip(true);
    EXPECT_EQ(session->noteText(), QStringLiteral("Sonos cannot skip forward for this source or queue. Choose an album or playlist in Browse."));
    session->playback()->skip(false);
    EXPECT_EQ(session->noteText(), QStringLiteral("Sonos cannot go to a previous track for this source or queue."));
    EXPECT_TRUE(posts().isEmpty());
    make();
    session->playback()->toggle();
    EXPECT_EQ(session->noteText(), QStringLiteral("Choose a room."));
}

TEST_F(Commands, SeekRoundsAndClamps)
{
    cloud.groups.front().state = QStringLiteral("PLAYBACK_STATE_PAUSED"); // the fake's position must not move on its own
    test::await(session->playback()->refreshPlayback());
    session->playback()->seek(0.5);
    test::drain();
    EXPECT_EQ(posts().last(), QStringLiteral("playback/seek {\"positionMillis\":150000}"));
    session->playback()->seek(1.5);
    EXPECT_EQ(session->playback()->positionMillis(), 300000);
    session->playback()->seek(-0.2);
    EXPECT_EQ(session->playback()->positionMillis(), 0);
    session->playback()->seek(1.0 / 600000.0); // 0.5 ms rounds away from zero
    EXPECT_EQ(session->playback()->positionMillis(), 1);
    cloud.catalogue[0].durationMillis = 0;
    test::await(session->playback()->refreshPlayback());
    session->playback()->seek(0.7);
    EXPECT_EQ(session->playback()->positionMillis(), 0);
}

TEST_F(Commands, PlayModesSendOnlyWhatChanged)
{
    session->playback()->toggleShuffle();
    EXPECT_TRUE(session->playback()->shuffle());
    test::drain();
    session->playback()->toggleRepeat();
    test::drain();
    EXPECT_EQ(posts(), (QStringList{QStringLiteral("playback/playMode {\"playModes\":{\"shuffle\":true}}"),
                                    QStringLiteral("playback/playMode {\"playModes\":{\"repeat\":true,\"repeatOne\":false}}")}));
    EXPECT_TRUE(cloud.groups.front().shuffle && cloud.groups.front().repeat);

    // A refused write is undone by the re-read.
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("playMode$")), 500, {}});
    transport.hold = true;
    session->playback()->toggleShuffle();
    EXPECT_FALSE(session->playback()->shuffle());
    transport.hold = false;
    transport.release();
    test::drain();
    EXPECT_TRUE(session->playback()->shuffle());
}

TEST_F(Commands, ClearingTheReadNoteLeavesOtherNotes)
{
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("playback$")), 500, {}});
    test::await(session->playback()->refreshPlayback());
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("pause$")), 500, {}});
    session->playback()->toggle();
    test::drain();
    const QString other = session->noteText();
    EXPECT_TRUE(other.startsWith(QStringLiteral("Could not pause")));
    session->playback()->clearPlaybackReadNote();
    EXPECT_EQ(session->noteText(), other);
}

TEST_F(Commands, LocalOperationSendsToTheCoordinatorHost)
{
    bootLocally();
    test::await(session->playback()->refreshPlayback());
    session->playback()->toggle();
    test::drain();
    EXPECT_EQ(local.commands, QStringList{QStringLiteral("Pause@127.0.0.11")});
    local.reachable = false;
    session->playback()->toggle();
    test::drain();
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not play in Kitchen. The speaker did not answer. Check that it is on the same Wi-Fi network."));
}

TEST_F(Commands, FailedSendsNameTheActionAndTheRoom)
{
    const struct {
        qint64 position; // read before the command
        const char *route;
        int status;
        std::function<void()> command;
        QString said;
    } cases[] = {
        {0, "pause$", 403, [this] { session->playback()->toggle(); },
         QStringLiteral("Could not pause in Living Room + 1. Sonos denied this command. Check the account and music-service connection in the Sonos app.")},
        {0, "skipToNextTrack$", 502, [this] { session->playback()->skip(true); },
         QStringLiteral("Could not play the next song in Living Room + 1. Sonos rejected the request (502). Try again.")},
        {10000, "playback/seek$", 500, [this] { session->playback()->skip(false); },
         QStringLiteral("Could not restart the song in Living Room + 1. Sonos rejected the request (500). Try again.")},
        {0, "skipToPreviousTrack$", 410, [this] { session->playback()->skip(false); },
         QStringLiteral("Could not play the previous song in Living Room + 1. This room or saved item is no longer available. Refresh Sonos and select it again.")},
        // The read says playing: the first click pauses, the second plays.
        {0, "playback/play$", 503, [this] { session->playback()->toggle(), test::drain(), session->playback()->toggle(); },
         QStringLiteral("Could not play in Living Room + 1. The speaker cannot reach the music service. Check its connection in the Sonos app.")},
    };
    for (const auto &c : cases) {
        cloud.groups.front().position = c.position;
        test::await(session->playback()->refreshPlayback());
        cloud.addFault({"POST", QRegularExpression(QString::fromLatin1(c.route)), c.status, {}});
        c.command();
        test::drain();
        EXPECT_EQ(session->noteText(), c.said);
        EXPECT_FALSE(session->playback()->sendingPlaybackCommand());
    }
}
