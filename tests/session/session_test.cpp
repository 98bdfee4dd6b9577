#include "sessionfixture.h"
#include "session/roommembership.h"

using namespace velotte;
using namespace velotte::test;
using namespace std::chrono_literals;
using Phase = HouseSession::Phase;

TEST_F(SessionTest, TwoBootstrapsShareOneStartUp)
{
    transport.hold = true;
    bool first = false, second = false;
    auto aBody = [&]() -> QCoro::Task<void> { co_await session->bootstrap(); first = true; };
    auto a = aBody();
    auto bBody = [&]() -> QCoro::Task<void> { co_await session->bootstrap(); second = true; };
    auto b = bBody();
    EXPECT_TRUE(session->isBootstrapping());
    releaseAll();
    EXPECT_TRUE(first && second);
    EXPECT_EQ(signIn.restores, 1);
    EXPECT_EQ(cloudReads(QStringLiteral("households")), 1);
}

TEST_F(SessionTest, WithoutACloudHouseholdTheSessionRunsLocally)
{
    signIn.stored = false;
    test::await(session->bootstrap());
    EXPECT_EQ(session->phase(), Phase::ready);
    EXPECT_TRUE(session->guest());
    EXPECT_EQ(session->activeGroupID(), QStringLiteral("RINCON_A:1"));
    EXPECT_EQ(session->guestHost(QStringLiteral("RINCON_A:1")), QStringLiteral("127.0.0.11"));
    EXPECT_TRUE(cloud.requests.empty());

    make({QStringLiteral("-VelotteGuest")});
    signIn.stored = true;
    test::await(session->bootstrap());
    EXPECT_TRUE(session->guest());
    EXPECT_EQ(signIn.restores, 1); // the earlier session's only

    // Signed in to an account that lists no household.
    make();
    cloud.listNoHouseholds = true;
    const int discovers = local.discovers;
    test::await(session->bootstrap());
    EXPECT_EQ(local.discovers, discovers + 1);
    EXPECT_TRUE(session->guest());
    EXPECT_TRUE(session->noteText().isEmpty());

    // No speakers either.
    signIn.stored = false;
    local.reachable = false;
    make();
    test::await(session->bootstrap());
    EXPECT_EQ(session->phase(), Phase::signedOut);
    EXPECT_EQ(session->noteText(), QStringLiteral("No Sonos speakers were found. Check that this computer and your speakers are on the same Wi-Fi network."));
}

TEST_F(SessionTest, AVanishedGroupGivesWayToAPlayingOneAndTheRememberedHouseholdWins)
{
    test::await(session->bootstrap());
    const QString bedroom = cloud.groups[1].id;
    const QString playing = living();
    session->choose(bedroom);
    test::drain();
    EXPECT_EQ(session->playback()->title(), QStringLiteral("Gymnopédie No. 1"));
    cloud.groups.erase(cloud.groups.begin() + 1);
    std::swap(cloud.groups[0], cloud.groups[1]); // the playing group is no longer first
    test::await(session->refresh());
    EXPECT_EQ(session->activeGroupID(), playing);

    // The household chosen before wins even when the cloud lists it last.
    cloud.otherHouseholds = {{QStringLiteral("Sonos_Other.A"), QStringLiteral("Cabin")}};
    test::await(session->refresh());
    EXPECT_EQ(session->householdID(), cloud.householdID());
    EXPECT_EQ(session->groups().size(), 2);

    // A fresh session has nothing remembered and takes the cloud's first.
    make();
    cloud.otherHouseholds = {{QStringLiteral("Sonos_Other.A"), QStringLiteral("Cabin")}};
    test::await(session->bootstrap());
    EXPECT_EQ(session->householdName(), QStringLiteral("Cabin"));
    EXPECT_TRUE(session->groups().isEmpty());
}

TEST_F(SessionTest, TheLoopReadsOnItsTicksOnlyWhileThePanelShows)
{
    // Cloud: every 15th tick (7.5 s); local: every 3rd (1.5 s).
    for (const bool cloudOperation : {true, false}) {
        signIn.stored = cloudOperation;
        make();
        test::await(session->bootstrap());
        auto reads = [&] { return cloudOperation ? cloudReads() : local.reads; };
        const int period = cloudOperation ? 15 : 3;
        const int before = reads();
        session->setPollingEnabled(true);
        test::drain();
        EXPECT_EQ(reads(), before + 1); // showing reads at once
        ticks(period - 1);
        EXPECT_EQ(reads(), before + 1);
        ticks(1);
        EXPECT_EQ(reads(), before + 2);
        ticks(7200 - period); // the rest of an hour
        EXPECT_EQ(reads(), before + 1 + 7200 / period);
        EXPECT_EQ(clock.sleepers(), 1);

        session->setPollingEnabled(false); // hidden: nothing at all
        test::drain();
        const int hidden = reads();
        ticks(100);
        EXPECT_EQ(reads(), hidden);
        EXPECT_FALSE(session->clockRunning());
        EXPECT_EQ(clock.sleepers(), 0);
    }
}

TEST_F(SessionTest, PositionAdvancesBetweenReadsAndStopsAtTheEnd)
{
    cloud.catalogue[0].durationMillis = 0; // a stream: no end
    test::await(session->bootstrap());
    session->setPollingEnabled(true);
    test::drain();
    const qint64 start = session->playback()->positionMillis();
    ticks(14);
    EXPECT_EQ(session->playback()->positionMillis(), start + 7000);

    cloud.catalogue[0].durationMillis = 300000;
    test::await(session->playback()->refreshPlayback());
    ticks(1000); // far past the end of the track
    EXPECT_LE(session->playback()->positionMillis(), session->playback()->durationMillis());
}

TEST_F(SessionTest, ReadFailuresKeepWhatWasShownAndClearOnTheNextRead)
{
    test::await(session->bootstrap());
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("groups$")), 500, {}});
    test::await(session->refresh());
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not refresh Sonos."));
    EXPECT_EQ(session->groups().size(), 3);
    test::await(session->refresh());
    EXPECT_TRUE(session->noteText().isEmpty());
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("playback$")), 503, {}});
    test::await(session->playback()->refreshPlayback());
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not reach this room."));
    test::await(session->playback()->refreshPlayback());
    EXPECT_TRUE(session->noteText().isEmpty());
    // A command's note outlives the clearing of the read's.
    cloud.addFault({"GET", QRegularExpression(QStringLiteral("playback$")), 500, {}});
    test::await(session->playback()->refreshPlayback());
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("pause$")), 500, {}});
    session->playback()->toggle();
    test::drain();
    const QString other = session->noteText();
    EXPECT_TRUE(other.startsWith(QStringLiteral("Could not pause")));
    session->playback()->clearPlaybackReadNote();
    EXPECT_EQ(session->noteText(), other);

    bootLocally();
    local.reachable = false;
    test::await(session->playback()->refreshPlayback());
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not reach this room. Check that your speakers are on the same Wi-Fi network."));
}

TEST_F(SessionTest, ConnectFromLocalOperationThenSignOutForgetsEverything)
{
    signIn.stored = false;
    test::await(session->bootstrap());
    ASSERT_TRUE(session->guest());
    test::await(session->connect());
    EXPECT_FALSE(session->guest());
    EXPECT_EQ(session->groups().size(), 3);
    EXPECT_FALSE(session->signingIn());

    signIn.failAuthorize = true; // a closed sign-in window changes nothing
    test::await(session->connect());
    EXPECT_EQ(session->phase(), Phase::ready);
    EXPECT_TRUE(session->noteText().isEmpty());

    // Signing out forgets everything and reads nothing more.
    session->setPollingEnabled(true);
    session->signOut();
    EXPECT_EQ(session->phase(), Phase::signedOut);
    EXPECT_TRUE(session->groups().isEmpty());
    EXPECT_FALSE(session->activeGroupID().has_value());
    EXPECT_TRUE(session->playback()->title().isEmpty());
    EXPECT_EQ(signIn.signOuts, 1);
    const int before = cloudReads();
    ticks(40);
    EXPECT_EQ(cloudReads(), before);
}

TEST_F(SessionTest, DemoAdvancesByTheTickAndSkipsAtTheEnd)
{
    session->loadDemo();
    EXPECT_EQ(session->phase(), Phase::ready);
    ASSERT_EQ(session->playback()->positionMillis(), 48000);
    ticks(3);
    EXPECT_EQ(session->playback()->positionMillis(), 49500);
    ticks((205000 - 49500) / 500);
    EXPECT_EQ(session->playback()->title(), QStringLiteral("Clair de lune"));
    EXPECT_EQ(session->playback()->demoIndex(), 1);
    session->playback()->skip(false);
    session->playback()->skip(false);
    EXPECT_EQ(session->playback()->demoIndex(), 2); // wraps
    session->playback()->toggle();
    EXPECT_FALSE(session->playback()->isPlaying());
    const qint64 paused = session->playback()->positionMillis();
    ticks(10);
    EXPECT_EQ(session->playback()->positionMillis(), paused);
    EXPECT_TRUE(cloud.requests.empty());
    session->leavePreview();
    EXPECT_FALSE(session->demo());
    EXPECT_EQ(session->phase(), Phase::signedOut);
}

namespace {
SonosPlayer player(const char *id) { return SonosPlayer{QLatin1String(id), QLatin1String(id)}; }
SonosGroup group(const char *id, QStringList members) { return SonosGroup{QLatin1String(id), QLatin1String(id), members.first(), std::nullopt, members}; }
const QList<SonosPlayer> household{player("A"), player("B"), player("C"), player("D")};
} // namespace

TEST(RoomMembershipChange, SelectionRulesOrdersAndTheSimulatedGroups)
{
    const SonosGroup g = group("G", {QStringLiteral("C"), QStringLiteral("A")});
    EXPECT_THROW(RoomMembershipChange::make(g, {}, household), RoomMembershipChange::SelectionError);
    try {
        RoomMembershipChange::make(g, {QStringLiteral("A"), QStringLiteral("Z")}, household);
        FAIL();
    } catch (const RoomMembershipChange::SelectionError &e) {
        EXPECT_EQ(e.sentence(), QStringLiteral("One of these rooms is no longer available. Refresh Rooms and try again."));
    }
    const auto change = RoomMembershipChange::make(g, {QStringLiteral("D"), QStringLiteral("B"), QStringLiteral("A")}, household);
    EXPECT_EQ(change.playerIds, (QStringList{QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("D")}));
    EXPECT_EQ(change.playerIdsToAdd, (QStringList{QStringLiteral("B"), QStringLiteral("D")})); // household order, not ticking order
    EXPECT_EQ(change.playerIdsToRemove, QStringList{QStringLiteral("C")});

    // What the rooms look like at once: B moves in, K goes on without it, H is gone.
    const QList<SonosGroup> groups{group("G", {QStringLiteral("A"), QStringLiteral("C")}), group("H", {QStringLiteral("B")}),
                                   group("K", {QStringLiteral("D"), QStringLiteral("B")})};
    const auto simulated = RoomMembershipChange::make(groups[0], {QStringLiteral("A"), QStringLiteral("B")}, household).simulatedGroups(groups, household);
    ASSERT_EQ(simulated.size(), 3); // G, K without B, and C alone; H left empty
    EXPECT_EQ(simulated[0].playerIds, (QStringList{QStringLiteral("A"), QStringLiteral("B")}));
    EXPECT_EQ(simulated[1].id, QStringLiteral("K"));
    EXPECT_EQ(simulated[1].playerIds, QStringList{QStringLiteral("D")});
    EXPECT_EQ(simulated[1].coordinatorId, QStringLiteral("D"));
    EXPECT_EQ(simulated[2].playerIds, QStringList{QStringLiteral("C")});
}

TEST_F(SessionTest, GroupingInTheCloudReadsBackAndSaysWhatFailed)
{
    test::await(session->bootstrap());
    const QString livingRoom = cloud.players[0].id, bedroom = cloud.players[2].id;
    EXPECT_TRUE(test::await(session->rooms()->groupRooms({livingRoom, bedroom})));
    EXPECT_FALSE(session->rooms()->changingRooms());
    const auto active = session->activeGroup();
    ASSERT_TRUE(active.has_value());
    EXPECT_EQ(active->playerIds, (QStringList{livingRoom, bedroom}));
    EXPECT_EQ(session->groups().size(), 3); // kitchen now stands alone
    EXPECT_EQ(cloud.groups.front().players, (QStringList{livingRoom, bedroom}));

    cloud.addFault({"POST", QRegularExpression(QStringLiteral("modifyGroupMembers$")), 200, "{}"}); // accepted, then ignored
    EXPECT_FALSE(run(session->rooms()->groupRooms({livingRoom})));
    EXPECT_EQ(session->noteText(), QStringLiteral("Some rooms could not join. The list shows the current group; choose rooms and try again."));
    cloud.addFault({"POST", QRegularExpression(QStringLiteral("modifyGroupMembers$")), 500, {}});
    EXPECT_FALSE(test::await(session->rooms()->groupRooms({livingRoom})));
    EXPECT_EQ(session->noteText(), QStringLiteral("Rooms could not be grouped."));
    EXPECT_EQ(session->groups().size(), 3); // the refresh shows the real state
    EXPECT_FALSE(test::await(session->rooms()->groupRooms({})));
    EXPECT_EQ(session->noteText(), QStringLiteral("Keep at least one room selected."));
}

TEST_F(SessionTest, UntickingTheCoordinatorLeavesTheGroupOnTheOtherRoomsEvenWhenTheCloudIsLate)
{
    cloud.now = [this] { return clock.monotonicMillis(); };
    cloud.regroupLagMs = 500;
    test::await(session->bootstrap());
    const QString kitchen = cloud.players[1].id; // the living room leads the group today
    EXPECT_TRUE(run(session->rooms()->groupRooms({kitchen})));
    EXPECT_TRUE(session->noteText().isEmpty()) << session->noteText().toStdString();
    ASSERT_TRUE(session->activeGroup().has_value());
    EXPECT_EQ(session->activeGroup()->playerIds, QStringList{kitchen});
    EXPECT_EQ(session->activeGroup()->coordinatorId, kitchen);
}

TEST_F(SessionTest, AGroupMovedByAnotherControllerIsFollowed)
{
    test::await(session->bootstrap());
    const QString before = living();
    cloud.regroup(cloud.players[0].id, {cloud.players[0].id, cloud.players[1].id, cloud.players[2].id}); // from a phone
    const QString after = cloud.groups.front().id;
    session->setPollingEnabled(true);
    ticks(15);
    test::drain();
    EXPECT_EQ(session->activeGroupID(), after);
    EXPECT_EQ(session->activeGroup()->playerIds.size(), 3); // the groups were read again

    // The next minute costs what it would have without the move: nothing
    // goes to the old id, and each read is one playback read.
    cloud.requests.clear();
    ticks(120);
    test::drain();
    int oldID = 0;
    for (const auto &r : cloud.requests)
        oldID += r.path.contains(before);
    EXPECT_EQ(oldID, 0);
    EXPECT_EQ(int(cloud.requests.size()), 8 * 3); // status, metadata and volume every 7.5 s
}

TEST_F(SessionTest, LocalGroupingJoinsSeparatesAndHandsOver)
{
    local.groupBoth();
    bootLocally();
    // Keep only the den: the coordinator hands over before it leaves.
    local.snapshot.groups = {{QStringLiteral("RINCON_B:2"), QStringLiteral("Den"), QStringLiteral("RINCON_B"), std::nullopt, {QStringLiteral("RINCON_B")}},
                             {QStringLiteral("RINCON_A:2"), QStringLiteral("Kitchen"), QStringLiteral("RINCON_A"), std::nullopt, {QStringLiteral("RINCON_A")}}};
    EXPECT_TRUE(test::await(session->rooms()->groupRooms({QStringLiteral("RINCON_B")})));
    EXPECT_EQ(local.commands, (QStringList{QStringLiteral("Delegate RINCON_B@127.0.0.11"), QStringLiteral("Separate@127.0.0.11")}));
    EXPECT_EQ(session->activeGroupID(), QStringLiteral("RINCON_B:2"));

    local.commands.clear();
    local.snapshot.groups = {{QStringLiteral("RINCON_B:3"), QStringLiteral("Den + 1"), QStringLiteral("RINCON_B"), std::nullopt,
                              {QStringLiteral("RINCON_B"), QStringLiteral("RINCON_A")}}};
    EXPECT_TRUE(test::await(session->rooms()->groupRooms({QStringLiteral("RINCON_A"), QStringLiteral("RINCON_B")})));
    EXPECT_EQ(local.commands, QStringList{QStringLiteral("Join RINCON_B@127.0.0.11")});
}
