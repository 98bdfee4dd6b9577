#include "sessionfixture.h"

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

TEST_F(Commands, PreviousRestartsAfterThreeSecondsAndSeekRoundsAndClamps)
{
    const auto track = cloud.groups.front().track;
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

    cloud.groups.front().track = track; // back to the first song, paused so the fake's position holds
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

TEST_F(Commands, UnavailableSkipsNoRoomAndLocalCommandsSayWhy)
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

    // Without the cloud, commands go to the coordinator's host.
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

namespace {
struct Sound : Booted {
    QString kitchen() const { return cloud.players[1].id; }
};
} // namespace

TEST_F(Sound, RoomSliderIsDebouncedAndClamped)
{
    for (int i = 0; i < 20; ++i) {
        session->sound()->setPlayerVolume(kitchen(), 30 + i);
        clock.advance(15ms);
    }
    clock.advance(384ms); // 0.4 s after the last move, less a millisecond
    EXPECT_TRUE(posts(QStringLiteral("playerVolume")).isEmpty());
    clock.advance(1ms);
    EXPECT_EQ(posts(QStringLiteral("playerVolume")), QStringList{QStringLiteral("{\"volume\":49}")});

    session->sound()->setPlayerVolume(kitchen(), 104);
    EXPECT_EQ(session->sound()->playerVolumes().value(kitchen()), 100);
    clock.advance(500ms);
    session->sound()->setPlayerVolume(kitchen(), -3);
    clock.advance(500ms);
    EXPECT_EQ(posts(QStringLiteral("playerVolume")).mid(1), (QStringList{QStringLiteral("{\"volume\":100}"), QStringLiteral("{\"volume\":0}")}));
    test::await(session->settle());

    // A fixed-volume room (the office) moves but sends nothing.
    session->choose(cloud.groups[2].id);
    test::drain();
    test::await(session->sound()->refreshRoomControls());
    const QString office = cloud.players[3].id;
    ASSERT_TRUE(session->sound()->playerFixed().value(office));
    session->sound()->setPlayerVolume(office, 70);
    EXPECT_EQ(session->sound()->playerVolumes().value(office), 70);
    clock.advance(1s);
    EXPECT_EQ(posts(QStringLiteral("playerVolume")).size(), 3);
}

TEST_F(Sound, GroupVolumeRoundsAndIsHeldWhileRoomsChange)
{
    session->sound()->setVolume(37.5);
    session->sound()->commitGroupVolume();
    test::drain();
    EXPECT_EQ(posts(QStringLiteral("groupVolume")), QStringList{QStringLiteral("{\"volume\":38}")});

    transport.hold = true;
    auto grouping = session->rooms()->groupRooms({cloud.players[0].id});
    session->sound()->setVolume(50);
    session->sound()->commitGroupVolume(); // released while rooms change: nothing goes out
    releaseAll();
    EXPECT_EQ(posts(QStringLiteral("groupVolume")).size(), 1);

    // A group whose volume is fixed (a TV input at line level) is never sent one.
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("groupVolume$")), 200, R"({"volume":50,"muted":false,"fixed":true})"});
    test::await(session->playback()->refreshPlayback());
    ASSERT_TRUE(session->sound()->volumeFixed());
    session->sound()->setVolume(20);
    session->sound()->commitGroupVolume();
    test::drain();
    EXPECT_EQ(posts(QStringLiteral("groupVolume")).size(), 1);
    test::await(session->playback()->refreshPlayback());

    cloud.addFault({"POST", QRegularExpression(QStringLiteral("groupVolume$")), 500, {}});
    session->sound()->commitGroupVolume();
    test::drain();
    EXPECT_TRUE(session->noteText().startsWith(QStringLiteral("Could not change the volume in Living Room")));
    EXPECT_TRUE(session->noteText().endsWith(QStringLiteral(". Try again.")));
}

TEST_F(Sound, MuteConversationAndBass)
{
    EXPECT_EQ(session->sound()->conversationHelp(), QStringLiteral("Click for Conversation. Hold to mute."));
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("mute$")), 500, {}});
    session->sound()->toggleMute();
    test::drain();
    EXPECT_FALSE(session->sound()->muted());
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not mute Living Room + 1. Try again."));
    session->sound()->toggleMute();
    EXPECT_TRUE(session->sound()->muted());
    test::drain();
    EXPECT_EQ(posts(QStringLiteral("mute")).last(), QStringLiteral("{\"muted\":true}"));
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("mute$")), 500, {}});
    session->sound()->toggleMute();
    test::drain();
    EXPECT_TRUE(session->sound()->muted());
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not unmute Living Room + 1. Try again."));
    EXPECT_EQ(session->sound()->conversationHelp(), QStringLiteral("Hold to unmute. Click for Conversation."));

    // The living room's group: the living room at 30, the kitchen at 50.
    auto &living = cloud.players[0], &kitchen = cloud.players[1];
    living.volume = 30;
    kitchen.volume = 50;
    test::await(session->sound()->toggleConversation());
    EXPECT_TRUE(session->sound()->conversationOn());
    EXPECT_EQ(living.volume, 12);
    EXPECT_EQ(kitchen.volume, 12);

    // Turned from another controller meanwhile: the kitchen keeps its 20; the
    // living room, one step off, gets its own 30 back.
    kitchen.volume = 20;
    living.volume = 13;
    test::await(session->sound()->toggleConversation());
    EXPECT_FALSE(session->sound()->conversationOn());
    EXPECT_EQ(living.volume, 30);
    EXPECT_EQ(kitchen.volume, 20);
    EXPECT_EQ(session->noteText(), QStringLiteral("Keeping your new volume."));

    // A room already quiet keeps its level; a refused send says so.
    living.volume = 8;
    cloud.addFault({"POST", QRegularExpression(kitchen.id + QStringLiteral("/playerVolume$")), 500, {}});
    test::await(session->sound()->toggleConversation());
    EXPECT_EQ(living.volume, 8);
    EXPECT_EQ(session->noteText(), QStringLiteral("Room volume could not change. Try again."));

    // Bass is found locally even in the cloud, and debounced.
    session->setNote(std::nullopt);
    test::await(session->sound()->refreshBassControl());
    ASSERT_TRUE(session->sound()->canAdjustBass()); // from the player's secure web-socket address
    EXPECT_EQ(session->sound()->bass(), 0.5);
    session->sound()->setBass(0.52);
    EXPECT_EQ(session->sound()->bass(), 0.5);
    session->sound()->setBass(1.5);
    EXPECT_EQ(session->sound()->bass(), 1.0); // level +10 at most
    session->sound()->setBass(0.9);
    session->sound()->setBass(0.0);
    EXPECT_EQ(session->sound()->bass(), 0.0);
    clock.advance(249ms);
    EXPECT_TRUE(local.commands.isEmpty());
    clock.advance(1ms);
    EXPECT_EQ(local.commands, QStringList{QStringLiteral("Bass -10@127.0.0.11")});

    local.reachable = false;
    session->sound()->setBass(0.75);
    clock.advance(300ms);
    EXPECT_EQ(session->sound()->bass(), 0.0); // back to what the speaker confirmed
    EXPECT_EQ(session->sound()->bassNoteText(), QStringLiteral("Bass could not be changed. Check the speaker’s connection and retry."));
    EXPECT_TRUE(session->noteText().isEmpty()); // the bass has its own note
    test::await(session->sound()->refreshBassControl()); // the address is known but nothing answers
    EXPECT_EQ(session->sound()->bassNoteText(), QStringLiteral("Could not connect to Sonos."));

    local.reachable = true;
    for (auto &p : cloud.players)
        p.host = QStringLiteral("[::1"); // no usable address
    test::await(session->refresh());
    test::await(session->sound()->refreshBassControl());
    EXPECT_FALSE(session->sound()->canAdjustBass());
    EXPECT_EQ(session->sound()->bassNoteText(), QStringLiteral("Connect this device and your Sonos speaker to the same Wi-Fi, then retry."));

    local.bonjour.insert(cloud.players[0].id, QStringLiteral("127.0.0.21"));
    test::await(session->sound()->refreshBassControl());
    EXPECT_TRUE(session->sound()->canAdjustBass());
}

TEST_F(SessionTest, LocalGroupVolumeAndConversationReachEveryRoom)
{
    local.groupBoth();
    bootLocally();
    session->sound()->setVolume(41.4);
    session->sound()->commitGroupVolume();
    test::drain();
    EXPECT_EQ(local.commands, (QStringList{QStringLiteral("Volume 41@127.0.0.11"), QStringLiteral("Volume 41@127.0.0.12")}));

    local.volumes = {{QStringLiteral("127.0.0.11"), 30}, {QStringLiteral("127.0.0.12"), 50}};
    test::await(session->sound()->toggleConversation());
    EXPECT_EQ(local.volumes, (QHash<QString, int>{{QStringLiteral("127.0.0.11"), 12}, {QStringLiteral("127.0.0.12"), 12}}));
    test::await(session->sound()->toggleConversation());
    EXPECT_EQ(local.volumes, (QHash<QString, int>{{QStringLiteral("127.0.0.11"), 30}, {QStringLiteral("127.0.0.12"), 50}}));
    EXPECT_TRUE(session->noteText().isEmpty()) << session->noteText().toStdString();

    local.reachable = false;
    session->sound()->setPlayerVolume(QStringLiteral("RINCON_A"), 10);
    clock.advance(400ms);
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not change this room’s volume. Check the speaker’s Wi-Fi connection."));
}

TEST_F(Sound, RoomVolumesAreConfirmedAndFailuresSayWhy)
{
    const QString livingRoom = cloud.players[0].id;
    EXPECT_TRUE(test::await(session->sound()->setRoomVolume({{livingRoom, 44}, {kitchen(), 18}}, cloud.groups.front().id)));
    EXPECT_EQ(session->sound()->playerVolumes().value(kitchen()), 18);
    // A room that refuses keeps its old volume and the read-back says so.
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("players/.*/playerVolume$")), 200, "{}", {}, 1, 0});
    EXPECT_FALSE(test::await(session->sound()->setRoomVolume({{kitchen(), 5}}, cloud.groups.front().id)));
    EXPECT_EQ(session->noteText(), QStringLiteral("Volume could not change in every speaker. Refresh the room before trying again."));

    cloud.addFault({"POST", QRegularExpression(QStringLiteral("playerVolume$")), 500, {}});
    session->sound()->setPlayerVolume(kitchen(), 10);
    clock.advance(400ms);
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not change this room’s volume."));

    cloud.addFault({"GET", QRegularExpression(QStringLiteral("playerVolume$")), 500, {}});
    test::await(session->sound()->refreshRoomControls());
    EXPECT_EQ(session->noteText(), QStringLiteral("Rooms could not refresh."));
}
