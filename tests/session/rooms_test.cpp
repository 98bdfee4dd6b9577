#include "sessionfixture.h"

#include "session/roommembership.h"

using namespace velotte;
using namespace velotte::test;

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
