// The tray program's panel against the fake speakers and news service on
// loopback: rooms, grouping, events, the queue and what the views say go
// from the panel's calls to the speakers and back.
#include "appmain.h"

#include "app/controllerapp.h"
#include "app/controllerbridge.h"
#include "app/musicpane.h"
#include "session/housesession.h"
#include "services/fakeitunes.h"
#include "services/fakenews.h"
#include "services/fakespeakers.h"


using namespace velotte;

namespace {

struct Household : ::testing::Test {
    fake::FakeSpeakers speakers{u"127.0.0.91"_qs, 4};
    fake::FakeNews news;
    fake::FakeItunes itunes;
    std::unique_ptr<ControllerApp> app;

    void SetUp() override
    {
        ASSERT_TRUE(speakers.start()) << "loopback addresses 127.0.0.91-94 are taken";
        ASSERT_TRUE(news.start());
        ASSERT_TRUE(itunes.listen());
        QSettings s(Paths::settingsFile(), QSettings::IniFormat);
        s.setValue(u"services/news"_qs, news.base().toString());
        s.setValue(u"services/itunes"_qs, itunes.baseUrl().toString());
        s.sync();
        app = std::make_unique<ControllerApp>(LaunchOptions::parse({u"velotte"_qs, u"--speakers"_qs, speakers.visibleHosts().join(u',')}),
                                              ControllerApp::Options{.tray = true, .reducedMotion = true, .mpris = false, .widget = false});
        app->start();
        app->shell().showController(); // what plays is read while the panel shows
        ASSERT_TRUE(QTest::qWaitFor([this] { return !app->session().playback()->title().isEmpty(); }, 15000))
            << "no playback read: " << app->session().noteText().toStdString();
    }
    void TearDown() override
    {
        // Requests still on the way hold the speaker client, which goes with
        // the program: let them land first.
        if (!app)
            return;
        app->shell().hideController();
        (void)QTest::qWaitFor([this] { return !app->session().playback()->sendingPlaybackCommand() && !app->session().rooms()->changingRooms(); }, 5000);
        QTest::qWait(500);
        app.reset();
    }
    HouseSession &session() { return app->session(); }
    fake::FakeSpeakers::Speaker &speaker(const QString &room)
    {
        for (auto &s : speakers.speakers)
            if (s.room == room && !s.invisible)
                return s;
        throw std::runtime_error("no such room");
    }
    int requests() const
    {
        int n = 0;
        for (const auto &s : speakers.speakers)
            n += s.requests;
        return n;
    }
    // The living room chosen, with its speaker's updates subscribed.
    void chooseLivingRoom()
    {
        for (const SonosGroup &g : session().groups())
            if (g.name == u"Living Room"_qs)
                session().choose(g.id);
        ASSERT_TRUE(QTest::qWaitFor([this] { return session().activeGroupName() == u"Living Room"_qs && session().events()->holding(); }, 10000));
    }
};

// Hidden, the panel asks the speakers nothing. A phone turns the living room
// down and pauses it: the speaker's own updates carry it to the session (and
// so to MPRIS and the widget) without a single request.
TEST_F(Household, AnotherControllersChangesReachTheHiddenPanelAndStand)
{
    ASSERT_NO_FATAL_FAILURE(chooseLivingRoom());
    // A read that set out before the speaker's news lands after it: the news stands.
    auto &living = speaker(u"Living Room"_qs);
    living.state = u"PAUSED_PLAYBACK"_qs;
    speakers.publish();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !session().playback()->isPlaying(); }, 5000));
    living.latencyMs = 800;
    auto read = session().playback()->refreshPlayback(); // answered "paused", late
    QTest::qWait(100);
    living.latencyMs = 0;
    living.state = u"PLAYING"_qs;
    speakers.publish();
    ASSERT_TRUE(QTest::qWaitFor([&] { return session().playback()->isPlaying(); }, 5000));
    QTest::qWait(1200); // the late read has landed
    EXPECT_TRUE(session().playback()->isPlaying());

    app->shell().hideController();
    QTest::qWait(300); // a read already on its way lands
    const int quiet = requests();
    living.volume = 17;
    living.state = living.state == u"PLAYING"_qs ? u"PAUSED_PLAYBACK"_qs : u"PLAYING"_qs;
    const bool playing = living.state == u"PLAYING"_qs;
    speakers.publish();
    EXPECT_TRUE(QTest::qWaitFor([&] { return session().sound()->volume() == 17 && session().playback()->isPlaying() == playing; }, 5000))
        << session().sound()->volume();
    EXPECT_EQ(requests(), quiet) << "the speakers were asked while the panel was hidden";
    // Showing reads at once, without waiting for the loop's turn.
    app->shell().showController();
    EXPECT_TRUE(QTest::qWaitFor([&] { return requests() > quiet; }, 1000));
}

// The queue view lists the coordinator's queue and follows an edit made
// elsewhere; the commands on it are the command line's test.
TEST_F(Household, QueueFromThePanel)
{
    ASSERT_NO_FATAL_FAILURE(chooseLivingRoom());
    auto &living = speaker(u"Living Room"_qs);
    ASSERT_GE(living.queue.size(), 3);
    living.latencyMs = 400;
    QQuickView *panel = app->shell().panel();
    app->bridge().setScreen(u"queue"_qs);
    ASSERT_TRUE(apptest::shows(panel, u"Reading the queue…"_qs, 3000));
    living.latencyMs = 0;
    ASSERT_TRUE(QTest::qWaitFor([&] { return session().queue()->count() == living.queue.size(); }, 5000)) << session().queue()->queueNoteText().toStdString();
    EXPECT_TRUE(apptest::shows(panel, living.queue[2].title));

    // Cleared from a phone: the speaker says the queue changed, the view reads it again.
    living.queue.clear();
    ++living.updateID;
    speakers.publish();
    ASSERT_TRUE(apptest::shows(panel, u"The queue is empty."_qs));
    app->bridge().setScreen(u"now"_qs);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !session().queue()->watched(); }, 2000));
    // The speaker's own sleep timer, counted down on its pill.
    session().sleepTimer()->setMinutes(30);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !apptest::shownTexts(panel).filter(QRegularExpression(u"^Sleep · (29:[0-5]\\d|30:00)$"_qs)).isEmpty(); }, 5000));
    EXPECT_GT(living.sleepUntil, 0);
}

TEST_F(Household, WhatThePanelSaysOfALocalHousehold)
{
    QQuickView *panel = app->shell().panel();
    auto *account = panel->rootObject()->findChild<QObject *>(u"account"_qs);
    ASSERT_NE(account, nullptr);
    account->setProperty("open", true);
    EXPECT_TRUE(apptest::shows(panel, u"Local only: rooms on this network, without a Sonos account."_qs));
    account->setProperty("open", false);

    // Rooms found on the network carry no Sonos favorites.
    app->bridge().setScreen(u"music"_qs);
    EXPECT_TRUE(apptest::shows(panel, u"No favorites yet."_qs));

    auto *music = qobject_cast<MusicPane *>(app->bridge().music());
    ASSERT_NE(music, nullptr);
    music->search(u"zzzz"_qs);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !music->searching(); }, 10000));
    EXPECT_EQ(music->searchNote(), u"Nothing in Apple Music matches “zzzz”."_qs);

    // The speakers' own news alarms point at another news host: none here.
    app->bridge().setScreen(u"news"_qs);
    EXPECT_TRUE(apptest::shows(panel, u"No news alarms yet. Add one to wake up to the day's bulletin."_qs, 10000));
}

TEST(SlowHousehold, RoomsSayTheyAreLookedFor)
{
    fake::FakeSpeakers slow{u"127.0.72.11"_qs, 3};
    ASSERT_TRUE(slow.start()) << "loopback addresses 127.0.72.11-13 are taken";
    for (auto &s : slow.speakers)
        s.latencyMs = 1500;
    ControllerApp app(LaunchOptions::parse({u"velotte"_qs, u"--speakers"_qs, slow.visibleHosts().join(u',')}),
                      ControllerApp::Options{.tray = true, .reducedMotion = true, .mpris = false, .widget = false});
    app.bridge().setScreen(u"rooms"_qs);
    app.start();
    app.shell().showController();
    ASSERT_TRUE(apptest::shows(app.shell().panel(), u"Looking for speakers…"_qs, 3000));
    // Once they answer the rooms replace it.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !apptest::shownTexts(app.shell().panel()).contains(u"Looking for speakers…"_qs); }, 15000));
    EXPECT_FALSE(app.session().groups().isEmpty()) << app.session().noteText().toStdString();
    app.shell().hideController();
    QTest::qWait(1800); // the last slow read lands before the program goes
}

} // namespace

int main(int argc, char **argv) { return apptest::runTests(argc, argv); }
