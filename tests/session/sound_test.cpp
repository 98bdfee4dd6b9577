#include "sessionfixture.h"

using namespace velotte;
using namespace velotte::test;
using namespace std::chrono_literals;

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

TEST_F(Sound, MuteFlipsAtOnceAndFailsBack)
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
}

TEST_F(Sound, BassIsFoundLocallyEvenInTheCloudAndDebounced)
{
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

TEST_F(Sound, ConversationLowersEachRoomAndGivesItsOwnVolumeBack)
{
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
