#include "core/networktransport.h"
#include "local/applemusicdirect.h"
#include "local/guesthouse.h"
#include "news/newsalarmclient.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"

#include <QNetworkAccessManager>

#include <gtest/gtest.h>

using namespace velotte;
using namespace Qt::Literals::StringLiterals;

namespace {
struct Speakers : ::testing::Test {
    fake::FakeSpeakers speakers{QStringLiteral("127.0.43.11"), 5};
    QNetworkAccessManager manager;
    NetworkTransport transport{&manager};
    GuestHouse house{transport};

    void SetUp() override { ASSERT_TRUE(speakers.start()) << "cannot bind port 1400 on 127.0.43.x"; }
    QString host(int i) const { return speakers.speakers[size_t(i)].host; }
    QString id(int i) const { return speakers.speakers[size_t(i)].id; }
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

// Clients other than the house: queueing Apple Music, and local control switched off.
TEST_F(Speakers, DirectQueueingRunOnTheSpeaker)
{
    AppleMusicDirect direct(transport);
    QList<AppleMusicIdentity> songs;
    for (int i = 0; i < 18; ++i)
        songs.append({QString::number(500 + i), u"Song %1"_s.arg(i + 1), u"Band"_s, u"song"_s});
    std::vector<int> progress;
    test::await(direct.play(songs, host(2), id(2), AppleMusicAction::replace, [&](int n) { progress.push_back(n); }));
    EXPECT_EQ(progress, (std::vector<int>{1, 17, 18}));
    const auto &kitchen = speakers.speakers[2];
    ASSERT_EQ(kitchen.queue.size(), 18); // the three old tracks are gone
    EXPECT_EQ(kitchen.queue.first().title, u"Song 1"_s);
    EXPECT_EQ(kitchen.queue.last().title, u"Song 18"_s);
    // The household's favorites carry account 5 (one older entry 1): every song goes out with 5.
    for (const auto &t : kitchen.queue)
        EXPECT_TRUE(t.uri.endsWith(u"&sn=5"_s)) << t.uri.toStdString();
    const auto now = test::await(house.nowPlaying(host(2)));
    ASSERT_TRUE(now.has_value());
    EXPECT_EQ(now->title, u"Song 1"_s);
    EXPECT_TRUE(now->playing);

    // A song the speaker cannot play (here: of an account the household
    // does not have) is refused with 714: the queueing sentence with the code.
    speakers.appleMusicAccount = 7;
    EXPECT_EQ(test::failureSentence(direct.play({{u"902"_s, u"Elsewhere"_s, {}, u"song"_s}}, host(2), id(2), AppleMusicAction::replace)),
              u"Sonos couldn’t load this Apple Music item (714). Check that Apple Music is connected in the Sonos app and the item is "
              "available in your account."_s);
}

TEST_F(Speakers, LocalControlOffIsSaidByEveryClient)
{
    speakers.speakers[2].forbidden = true;
    const QString kitchen = host(2);
    const QString sentence = u"This speaker has local control switched off. Switch it on in the Sonos app to control it from this computer."_s;
    // The speaker operations say "no value"; the house says why.
    EXPECT_FALSE(test::await(house.bass(kitchen)).has_value());
    EXPECT_EQ(house.fault(kitchen)->sentence(), sentence);
    EXPECT_FALSE(test::await(house.identity(kitchen)).has_value());
    EXPECT_EQ(house.fault(kitchen)->sentence(), sentence);
    // The alarm and queueing clients throw it.
    NewsAlarmClient alarms(transport, NewsSource(QUrl(u"https://news.velotte.app/api/public/news-shadowing"_s)));
    EXPECT_EQ(test::failureSentence(alarms.list(kitchen)), sentence);
    AppleMusicDirect direct(transport);
    EXPECT_EQ(test::failureSentence(direct.isCoordinator(id(2), kitchen)), sentence);
    EXPECT_EQ(test::failureSentence(direct.play({{u"900"_s, u"One"_s, {}, u"song"_s}}, kitchen, id(2), AppleMusicAction::replace)), sentence);
}
