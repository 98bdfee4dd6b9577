#include "sessionfixture.h"

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

TEST_F(SessionTest, RememberedHouseholdWinsWhenListedLast)
{
    test::await(session->bootstrap());
    cloud.otherHouseholds = {{QStringLiteral("Sonos_Other.A"), QStringLiteral("Cabin")}};
    test::await(session->refresh());
    EXPECT_EQ(session->householdID(), cloud.householdID());
    EXPECT_EQ(session->groups().size(), 3);

    // A fresh session has nothing remembered and takes the cloud's first.
    make();
    cloud.otherHouseholds = {{QStringLiteral("Sonos_Other.A"), QStringLiteral("Cabin")}};
    test::await(session->bootstrap());
    EXPECT_EQ(session->householdName(), QStringLiteral("Cabin"));
    EXPECT_TRUE(session->groups().isEmpty());
}

TEST_F(SessionTest, VanishedActiveGroupGivesWayToAPlayingOne)
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

    bootLocally();
    local.reachable = false;
    test::await(session->playback()->refreshPlayback());
    EXPECT_EQ(session->noteText(), QStringLiteral("Could not reach this room. Check that your speakers are on the same Wi-Fi network."));
}

TEST_F(SessionTest, SignOutForgetsEverything)
{
    test::await(session->bootstrap());
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

TEST_F(SessionTest, ConnectFromLocalOperationSwitchesToTheCloud)
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
