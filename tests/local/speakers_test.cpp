#include "core/networktransport.h"
#include "local/guesthouse.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"

#include <QNetworkAccessManager>

#include <gtest/gtest.h>

using namespace velotte;

namespace {
struct Speakers : ::testing::Test {
    fake::FakeSpeakers speakers{QStringLiteral("127.0.43.11"), 5};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};

    void SetUp() override { ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.43.x"; }
    QString host(int i) const { return speakers.speakers[size_t(i)].host; }
};
} // namespace

TEST_F(Speakers, NowPlayingDecodesTextsAndState)
{
    speakers.speakers[0].track = 1;
    // A member reports its coordinator's playback.
    ASSERT_TRUE(test::await(house.join(speakers.speakers[0].id, host(2))));
    EXPECT_EQ(test::await(house.nowPlaying(host(2)))->title, QStringLiteral("Salt & Pepper"));

    // A captured track: its texts escaped once more than the document, "&apos;" among them.
    const auto bedroom = test::await(house.nowPlaying(host(3)));
    ASSERT_TRUE(bedroom.has_value());
    EXPECT_EQ(bedroom->title, QStringLiteral("Ex's & Oh's"));
    EXPECT_EQ(bedroom->artist, QStringLiteral("Elle King"));
    // A captured radio stream: its address as the title, the song in the stream content.
    speakers.speakers[4].streamURI = QStringLiteral("x-sonosapi-stream:s6712?sid=254&flags=32");
    const auto radio = test::await(house.nowPlaying(host(4)));
    ASSERT_TRUE(radio.has_value());
    EXPECT_EQ(radio->title, QStringLiteral("IDGAF"));
    EXPECT_EQ(radio->artist, QStringLiteral("DUA LIPA"));
    EXPECT_EQ(radio->durationMillis, 0);
    EXPECT_FALSE(radio->canSeek || radio->canSkip || radio->canSkipBack);
}

TEST_F(Speakers, EveryOperationReachesTheSpeaker)
{
    EXPECT_TRUE(test::await(house.setBass(host(2), -4)));
    EXPECT_EQ(test::await(house.bass(host(2))), -4);
    EXPECT_TRUE(test::await(house.join(speakers.speakers[0].id, host(3))));
    // The bedroom follows the living room now: a command for it is refused
    // with 800 and goes to the coordinator instead.
    speakers.speakers[0].state = QStringLiteral("PLAYING");
    EXPECT_TRUE(test::await(house.transport(QStringLiteral("Pause"), host(3))));
    EXPECT_EQ(speakers.speakers[0].state, QStringLiteral("PAUSED_PLAYBACK"));
    EXPECT_FALSE(house.fault(host(3)).has_value());
    EXPECT_EQ(test::await(house.standaloneRoom(speakers.speakers[0].id, host(0))), false);
    EXPECT_TRUE(test::await(house.delegate(speakers.speakers[3].id, host(0))));
    EXPECT_EQ(speakers.speakers[0].follows, speakers.speakers[3].id);
    EXPECT_TRUE(test::await(house.separate(host(0))));
    EXPECT_EQ(test::await(house.standaloneRoom(speakers.speakers[0].id, host(0))), true);
    EXPECT_FALSE(test::await(house.standaloneRoom(QStringLiteral("RINCON_NOBODY"), host(0))).has_value());
}

TEST_F(Speakers, FaultsAreNoValueNeverACrash)
{
    auto &s = speakers.speakers[2];
    s.serverError = true; // a fault body on every action, the speaker still describing itself
    EXPECT_FALSE(test::await(house.volume(host(2))).has_value());
    EXPECT_TRUE(test::await(house.identity(host(2))).has_value());
    s.serverError = false;
    s.noAnswer = true;
    EXPECT_FALSE(test::await(house.volume(host(2)), 10000).has_value()); // gives up after 4 s
    EXPECT_FALSE(test::await(house.identity(QStringLiteral("127.0.43.99"))).has_value());
    EXPECT_EQ(test::await(house.discover({{QStringLiteral("x"), QStringLiteral("127.0.43.99")}})).groups.size(), 0);
    s.noAnswer = false;
    // One of the four reads of what plays fails: the record has a gap.
    s.upnpErrors.insert(QStringLiteral("GetVolume"), 501);
    s.upnpErrors.insert(QStringLiteral("GetCurrentTransportActions"), 501);
    auto now = test::await(house.nowPlaying(host(2)));
    ASSERT_TRUE(now.has_value());
    EXPECT_FALSE(now->volume.has_value());
    EXPECT_FALSE(now->canSkip);
    EXPECT_EQ(now->title, QStringLiteral("Clair de lune"));
    s.upnpErrors.insert(QStringLiteral("GetTransportInfo"), 501);
    EXPECT_FALSE(test::await(house.nowPlaying(host(2))).has_value());
}

// Forty speakers make a topology real ones refuse (UPnP 501); every speaker
// still tells of its own group, and the rooms come from that.
TEST(LargeHousehold, FortySpeakersListTheirRooms)
{
    fake::FakeSpeakers speakers{QStringLiteral("127.0.54.11"), 40};
    ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.54.x";
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};
    auto &s = speakers.speakers;
    EXPECT_FALSE(test::await(house.zoneGroups(s[0].host)).has_value()); // refused

    // The kitchen joins the bedroom; Bonjour finds every speaker, the stereo partner too.
    ASSERT_TRUE(test::await(house.join(s[3].id, s[2].host)));
    QHash<QString, QString> found;
    for (const QString &h : speakers.hosts())
        found.insert(h, h);
    const auto snapshot = test::await(house.discover(found));
    ASSERT_EQ(snapshot.groups.size(), 38); // 40 less the stereo partner, less the kitchen that joined
    QHash<QString, SonosGroup> byCoordinator;
    for (const SonosGroup &g : snapshot.groups)
        byCoordinator.insert(g.coordinatorId, g);
    EXPECT_EQ(byCoordinator.value(s[0].id).name, QStringLiteral("Living Room"));
    EXPECT_EQ(byCoordinator.value(s[0].id).playerIds, QStringList{s[0].id});
    EXPECT_EQ(byCoordinator.value(s[3].id).name, QStringLiteral("Bedroom + 1"));
    EXPECT_EQ(byCoordinator.value(s[3].id).playerIds, (QStringList{s[3].id, s[2].id}));
    EXPECT_EQ(byCoordinator.value(s[39].id).name, QStringLiteral("Room 40"));
    EXPECT_EQ(byCoordinator.value(s[6].id).name, QStringLiteral("Kids/Play"));
    EXPECT_EQ(snapshot.players.size(), 39);
    EXPECT_EQ(snapshot.hosts.value(s[20].id), s[20].host);

    // The home theatre (its satellites are no speakers of the list) is one room.
    EXPECT_EQ(byCoordinator.value(s[4].id).playerIds, QStringList{s[4].id});

    // Play now's room check works without the topology too; the stereo
    // partner belongs to the living room, not to another room.
    EXPECT_EQ(test::await(house.standaloneRoom(s[0].id, s[0].host, snapshot.hosts)), std::optional<bool>(true));
    EXPECT_EQ(test::await(house.standaloneRoom(s[5].id, s[5].host)), std::optional<bool>(true));
    EXPECT_EQ(test::await(house.standaloneRoom(s[3].id, s[3].host)), std::optional<bool>(false));
    EXPECT_EQ(test::await(house.standaloneRoom(s[2].id, s[2].host)), std::optional<bool>(false));
}
