// The tray program signed in to the fake cloud, with the token in the
// desktop's keyring and the speakers named in the settings for what only
// the local network does (bass).
#include "appmain.h"

#include "app/controllerapp.h"
#include "app/controllerbridge.h"
#include "cloud/sonoserror.h"
#include "cloud/secretstore.h"
#include "cloud/storedtoken.h"
#include "session/housesession.h"
#include "services/fakecloud.h"
#include "services/fakespeakers.h"
#include "testkit/testkit.h"


using namespace velotte;

namespace {

struct CloudPanel : ::testing::Test {
    fake::FakeSpeakers speakers{fake::FakeSpeakers::Options{.base = u"127.0.71.11"_qs, .count = 4, .household = fake::FakeSpeakers::Household::plain}};
    fake::FakeCloud cloud;
    QTemporaryDir dir;
    std::unique_ptr<ControllerApp> app;

    void SetUp() override
    {
        ASSERT_TRUE(speakers.start()) << "loopback addresses 127.0.71.11-14 are taken";
        ASSERT_TRUE(cloud.listen());
        // The cloud's players are the speakers on loopback, and none tells
        // its address: bass has to find its speaker on the network.
        for (std::size_t i = 0; i < cloud.players.size(); ++i) {
            const QString old = cloud.players[i].id;
            const QString id = speakers.speakers[i].id;
            cloud.players[i].id = id;
            cloud.players[i].host.clear();
            for (auto &g : cloud.groups) {
                g.players.replaceInStrings(old, id);
                if (g.coordinator == old)
                    g.coordinator = id;
            }
        }
        cloud.acceptToken(u"access-app"_qs);

        const QString secrets = dir.filePath(u"SonosSecrets.plist"_qs);
        QFile f(secrets);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(cloud.secretsPlist());
        f.close();
        qputenv("VELOTTE_SECRETS", secrets.toLocal8Bit());

        KeychainStore keyring;
        const StoredToken token{u"access-app"_qs, u"refresh-app"_qs, QDateTime::currentDateTimeUtc().addSecs(3600)};
        test::await(keyring.write(token.encode()));

        QSettings s(Paths::settingsFile(), QSettings::IniFormat);
        s.setValue(u"local/speakers"_qs, speakers.visibleHosts());
        s.sync();
    }
    void TearDown() override
    {
        if (app) {
            app->shell().hideController();
            (void)QTest::qWaitFor([this] { return !app->session().playback()->sendingPlaybackCommand(); }, 5000);
            test::await(app->session().settle());
            QTest::qWait(300);
            app.reset();
        }
        KeychainStore keyring;
        test::await(keyring.clear());
        qunsetenv("VELOTTE_SECRETS");
    }
    void launch()
    {
        app = std::make_unique<ControllerApp>(LaunchOptions::parse({u"velotte"_qs}),
                                              ControllerApp::Options{.tray = true, .reducedMotion = true, .mpris = false, .widget = false});
        app->start();
        app->shell().showController();
    }
    HouseSession &session() { return app->session(); }
    QQuickView *panel() { return app->shell().panel(); }
};

TEST_F(CloudPanel, SignedInPanelReachesTheCloudAndFindsTheBassSpeaker)
{
    // Slow speakers: the search for the room's speaker shows while it lasts.
    for (auto &s : speakers.speakers)
        s.latencyMs = 1200;
    launch();
    ASSERT_TRUE(QTest::qWaitFor([this] { return session().phase() == HouseSession::Phase::ready && !session().playback()->title().isEmpty(); }, 15000))
        << session().noteText().toStdString();

    auto *account = panel()->rootObject()->findChild<QObject *>(u"account"_qs);
    ASSERT_NE(account, nullptr);
    account->setProperty("open", true);
    EXPECT_TRUE(apptest::shows(panel(), u"Connected to your Sonos account."_qs));
    account->setProperty("open", false);

    speakers.speakers[0].bass = 4;
    app->bridge().setScreen(u"sound"_qs);
    ASSERT_TRUE(apptest::shows(panel(), u"Finding the speaker…"_qs, 3000));
    // The settings' addresses are asked which rooms they hold; the living
    // room's coordinator answers with its bass level.
    ASSERT_TRUE(apptest::shows(panel(), u"Level 4"_qs, 15000)) << session().sound()->bassNoteText().toStdString();
    EXPECT_TRUE(session().sound()->canAdjustBass());
}

TEST_F(CloudPanel, TheSignedInHouseholdsFavoritesReachThePanelAndTheWidgetsLinks)
{
    // The first read is slow, then fails.
    fake::CloudFault slow{"GET", QRegularExpression(u"favorites$"_qs), 500, {}};
    slow.delayMs = 1500;
    cloud.addFault(slow);
    launch();
    app->bridge().setScreen(u"music"_qs);
    ASSERT_TRUE(apptest::shows(panel(), u"Loading your favorites…"_qs, 15000));
    const QString failure = u"Could not load your Sonos favorites. "_qs + SonosError::http(500).sentence();
    ASSERT_TRUE(apptest::shows(panel(), failure, 15000));
    EXPECT_TRUE(session().noteText().isEmpty()); // the library's own note, not the status line

    // "Refresh" reads them again: the note goes, the lists come.
    app->bridge().refreshLibrary();
    ASSERT_TRUE(apptest::shows(panel(), u"Dinner Jazz"_qs, 15000));
    const QStringList shown = apptest::shownTexts(panel());
    EXPECT_FALSE(shown.contains(failure));
    EXPECT_FALSE(shown.contains(u"No favorites yet."_qs));
    EXPECT_TRUE(shown.contains(cloud.favorites.front().value(u"name"_qs).toString()));

    // The widget's link plays one in the selected room.
    const QJsonObject favorite = cloud.favorites.back();
    app->bridge().openLink(QUrl(u"velotte://favorite/"_qs + favorite.value(u"id"_qs).toString()));
    ASSERT_TRUE(QTest::qWaitFor([&] { return cloud.group(session().activeGroupIDText()) && cloud.group(session().activeGroupIDText())->queue == QStringList{favorite.value(u"name"_qs).toString()}; }, 10000))
        << session().noteText().toStdString() << app->bridge().message().toStdString();
    EXPECT_TRUE(app->bridge().message().isEmpty());
}

} // namespace

int main(int argc, char **argv) { return apptest::runTests(argc, argv); }
