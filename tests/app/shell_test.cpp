#include "appmain.h"

#include "app/controllerapp.h"
#include "app/controllerbridge.h"
#include "app/launchoptions.h"
#include "app/processlogin.h"
#include "cloud/sonoserror.h"
#include "core/cancel.h"
#include "testkit/testkit.h"
#include "app/singleinstance.h"
#include "app/widget/widgetview.h"
#include "app/widgetsnapshot.h"
#include "core/autostart.h"
#include "session/housesession.h"

#include <QSaveFile>
#include <QSignalSpy>

#ifdef VELOTTE_WITH_NEWS
#include "app/newspane.h"
#endif
#ifdef VELOTTE_WITH_BROWSE
#include "app/musicpane.h"
#endif

using namespace velotte;

namespace {

QStringList args(std::initializer_list<const char *> words)
{
    QStringList list{QStringLiteral("velotte")};
    for (const char *w : words)
        list << QString::fromUtf8(w);
    return list;
}

// The usual forms are read by every test that starts the program; here the corners.
TEST(LaunchArguments, CornersOfScreensAndFavoriteLinks)
{
    // A word after -VelotteScreen is its value, never another flag; one it does not know is the default screen.
    for (const char *words : {"-VelotteScreen -VelotteDemo", "-VelotteScreen kitchen", "--demo -VelotteScreen"})
        EXPECT_TRUE(LaunchOptions::parse(QStringList{u"velotte"_qs} + QString::fromLatin1(words).split(u' ')).screen.isEmpty()) << words;
    EXPECT_EQ(LaunchOptions::parse(args({"--screen=music"})).screen, u"music"_qs);
    EXPECT_TRUE(LaunchOptions::parse(args({"-VelotteGuest"})).guest);
    EXPECT_EQ(LaunchOptions::parse(args({"--speakers", "127.0.0.11, 127.0.0.12,"})).speakers, (QStringList{u"127.0.0.11"_qs, u"127.0.0.12"_qs}));
    EXPECT_FALSE(LaunchOptions::parse({u"--demo"_qs}).demo); // the program's own name is never an argument

    // Sonos favorite ids carry slashes of their own; the widget's links come back to the same id.
    EXPECT_EQ(LaunchOptions::favoriteOf(LaunchOptions::parse(args({"velotte://favorite/FV%3A2%2F17"})).link), u"FV:2/17"_qs);
    for (const char *link : {"velotte://playlist/demo-2", "https://favorite/demo-2", "velotte://favorite/"})
        EXPECT_TRUE(LaunchOptions::favoriteOf(QUrl(QString::fromLatin1(link))).isEmpty()) << link;
    for (const QString &id : {u"FV:2/17"_qs, u"demo 4"_qs})
        EXPECT_EQ(LaunchOptions::favoriteOf(WidgetFeed::linkFor(id)), id);
}

struct Shell : ::testing::Test {
    std::unique_ptr<ControllerApp> app;

    void start(const QStringList &arguments, bool tray = true, bool reducedMotion = true, bool widget = false)
    {
        app.reset(); // one program at a time
        app = std::make_unique<ControllerApp>(LaunchOptions::parse(arguments),
                                              ControllerApp::Options{.tray = tray, .reducedMotion = reducedMotion, .mpris = false, .widget = widget});
        app->start();
    }
    QQuickView *panel() { return app->shell().panel(); }
    QObject *find(const QString &name) { return panel()->rootObject()->findChild<QObject *>(name); }
    QString loadedView() { return find(u"view"_qs) ? find(u"view"_qs)->property("source").toUrl().fileName() : QString(); }
};

TEST_F(Shell, PanelShowsHidesAndTakesItsSize)
{
    start(args({"--demo"}));
    ASSERT_TRUE(panel()->status() == QQuickView::Ready) << "the panel's views did not load";
    EXPECT_FALSE(app->shell().isShown());
    app->shell().toggle();
    EXPECT_TRUE(app->shell().isShown());
    EXPECT_EQ(panel()->size(), QSize(340, 620));
    for (Qt::WindowType flag : {Qt::FramelessWindowHint, Qt::WindowStaysOnTopHint, Qt::Tool}) // Tool: not in the task bar
        EXPECT_TRUE(panel()->flags().testFlag(flag)) << flag;
    const QRect available = panel()->screen()->availableGeometry().adjusted(8, 8, -8, -8);
    EXPECT_TRUE(available.contains(panel()->geometry())) << "panel outside the screen";

    // Two rooms need less than the full panel; lyrics take all of it.
    app->bridge().setScreen(u"rooms"_qs);
    const int rooms = app->shell().controllerSize().height();
    EXPECT_LT(rooms, 620);
    EXPECT_GE(rooms, 460);
    EXPECT_EQ(panel()->height(), rooms);
    app->bridge().setScreen(u"lyrics"_qs);
    EXPECT_EQ(panel()->height(), 620);
    // Taller than the screen: clamped to it.
    app->shell().resizeController(QSize(340, 40000));
    EXPECT_EQ(panel()->height(), available.height());
    EXPECT_TRUE(available.contains(panel()->geometry()));

    QTest::keyClick(panel(), Qt::Key_Escape);
    EXPECT_FALSE(app->shell().isShown());
    // Hidden, it only remembers the size for the next showing.
    app->shell().resizeController(QSize(300, 500));
    app->shell().toggle();
    EXPECT_EQ(panel()->size(), QSize(300, 500));
}

TEST_F(Shell, ResizeIsAnimatedUnlessMotionIsReduced)
{
    start(args({"--demo"}), true, false);
    app->shell().showController();
    app->shell().resizeController(QSize(340, 500));
    EXPECT_EQ(panel()->height(), 620) << "the size moves over time, not at once";
    ASSERT_TRUE(QTest::qWaitFor([&] { return panel()->height() == 500; }, 1500));
    // Hiding in the middle of an animation stops it where it is.
    app->shell().resizeController(QSize(340, 600));
    app->shell().hideController();
    app->shell().showController();
    EXPECT_EQ(panel()->height(), 600);
}

TEST_F(Shell, WithoutATrayThePanelIsAWindowUnlessStartedHidden)
{
    start(args({"--demo"}), false);
    EXPECT_TRUE(app->shell().isShown());
    EXPECT_FALSE(panel()->flags().testFlag(Qt::Tool)); // a normal window the desktop lists
    // At login the tray may not be up yet; the panel must not open, not even
    // when the login start meets a program that already runs.
    start(args({"--demo", "--hidden"}), false);
    EXPECT_FALSE(app->shell().isShown());
    app->reopen(args({"--hidden"}));
    EXPECT_FALSE(app->shell().isShown());
}

TEST_F(Shell, TrayIconFollowsPlayback)
{
    start(args({"--demo"}));
    ASSERT_NE(app->shell().tray(), nullptr);
    EXPECT_EQ(app->shell().iconName(), u"velotte-speaker-filled-symbolic"_qs);
    app->session().playback()->toggle();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app->session().playback()->isPlaying(); }, 2000));
    EXPECT_EQ(app->shell().iconName(), u"velotte-speaker-symbolic"_qs);
}

TEST_F(Shell, StartAtLoginSwitchWritesAndRemovesTheEntry)
{
    start(args({"--demo"}));
    app->shell().showController();
    ASSERT_NE(find(u"account"_qs), nullptr);
    find(u"account"_qs)->setProperty("open", true);
    auto *toggle = panel()->rootObject()->findChild<QQuickItem *>(u"startAtLogin"_qs);
    ASSERT_NE(toggle, nullptr);
    EXPECT_FALSE(toggle->property("checked").toBool()); // off until the user asks
    for (bool on : {true, false}) {
        QTest::mouseClick(panel(), Qt::LeftButton, {}, toggle->mapToScene(toggle->boundingRect().center()).toPoint());
        EXPECT_EQ(QFile::exists(Autostart::defaultFile()), on);
        EXPECT_EQ(toggle->property("checked").toBool(), on);
    }
}

// Every view loading is the screenshot test's.
TEST_F(Shell, LaunchScreenChoosesTheFirstView)
{
    start(args({"--demo", "-VelotteScreen", "news"}));
    EXPECT_EQ(loadedView(), u"NewsView.qml"_qs);
    // A second start of the program picks the screen and shows the panel.
    app->reopen(args({"--screen", "rooms"}));
    EXPECT_TRUE(app->shell().isShown());
    EXPECT_EQ(loadedView(), u"RoomsView.qml"_qs);
}

TEST_F(Shell, FavoriteLinkWithoutASonosConnection)
{
    // A link that starts the program shows the panel with the sentence.
    start(args({"--demo", "velotte://favorite/demo-1"}));
    EXPECT_TRUE(app->shell().isShown());
    EXPECT_EQ(app->bridge().message(), u"Connect to Sonos and refresh Browse to play this favorite."_qs);
    EXPECT_EQ(find(u"statusLine"_qs)->property("text").toString(), app->bridge().message());
    // Links that are not favorites change nothing.
    app->bridge().setMessage({});
    app->bridge().openLink(QUrl(u"velotte://elsewhere/demo-2"_qs));
    EXPECT_TRUE(app->bridge().message().isEmpty());
}

TEST_F(Shell, RoomListsFollowTheSession)
{
    start(args({"--demo"}));
    auto *groups = qobject_cast<QAbstractItemModel *>(app->bridge().groups());
    auto *players = qobject_cast<QAbstractItemModel *>(app->bridge().players());
    ASSERT_EQ(groups->rowCount(), 2);
    auto at = [](QAbstractItemModel *m, int row, const char *role) { return m->data(m->index(row, 0), m->roleNames().key(role)); };
    EXPECT_EQ(at(groups, 0, "name").toString(), u"Living Room"_qs);
    EXPECT_TRUE(at(groups, 0, "active").toBool());
    EXPECT_EQ(at(groups, 0, "nowPlaying").toString(), u"Gymnopédie No. 1"_qs);
    EXPECT_EQ(at(groups, 1, "nowPlaying").toString(), u"Idle"_qs);
    EXPECT_FALSE(at(groups, 5, "name").isValid());

    app->session().choose(u"bedroom"_qs);
    EXPECT_TRUE(at(groups, 1, "active").toBool());
    ASSERT_EQ(players->rowCount(), 2);
    EXPECT_TRUE(at(players, 1, "inGroup").toBool());
    EXPECT_FALSE(at(players, 0, "inGroup").toBool());
}

TEST_F(Shell, WidgetSnapshotIsWrittenForTheRunningHouseholdAndRead)
{
    QFile::remove(ControllerWidgetSnapshot::file());
    start(args({"--demo"}), true, true, true);
    ASSERT_TRUE(QTest::qWaitFor([] { return QFile::exists(ControllerWidgetSnapshot::file()); }, 3000));
    WidgetFeed feed(ControllerWidgetSnapshot::file());
    EXPECT_EQ(feed.room(), u"Living Room"_qs);
    EXPECT_EQ(feed.title(), u"Gymnopédie No. 1"_qs);
    EXPECT_EQ(feed.picks().size(), 5);
}

TEST(Feed, FollowsTheSnapshotsReplacementAndShowsBrokenOnesEmpty)
{
    QTemporaryDir dir;
    const QString file = dir.filePath(u"velotte/controller-widget.json"_qs);
    QDir().mkpath(dir.filePath(u"velotte"_qs));
    auto write = [&](const QByteArray &bytes) {
        QSaveFile out(file);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(bytes);
        ASSERT_TRUE(out.commit());
    };
    WidgetFeed feed(file);
    EXPECT_FALSE(feed.available());
    EXPECT_EQ(feed.title(), u"Open your controller"_qs);

    ControllerWidgetSnapshot s{u"Kitchen"_qs, u"Clair de lune"_qs, u"Debussy"_qs, true, QDateTime::currentDateTimeUtc(), {{u"f1"_qs, u"Jazz"_qs}}};
    for (const QString &title : {u"Clair de lune"_qs, u"The Swan"_qs}) { // replaced again: the watch survives the swap of files
        s.title = title;
        write(s.encode());
        ASSERT_TRUE(QTest::qWaitFor([&] { return feed.title() == title; }, 3000)) << "the widget did not see the new file";
    }
    EXPECT_TRUE(feed.available());
    EXPECT_TRUE(feed.playing());
    EXPECT_EQ(feed.picks().first().toMap().value(u"name"_qs).toString(), u"Jazz"_qs);

    for (const QByteArray &broken : {QByteArray(R"({"room":"Kitchen","title":3})"), QByteArray("not json at all")}) {
        write(broken);
        feed.reload();
        EXPECT_FALSE(feed.available());
        EXPECT_EQ(feed.title(), u"Open your controller"_qs);
        EXPECT_TRUE(feed.room().isEmpty());
    }
}

TEST_F(Shell, ShowLyricsIsRemembered)
{
    start(args({"--demo"}));
    app->bridge().setShowLyrics(false);
    start(args({"--demo"}));
    EXPECT_FALSE(app->bridge().showLyrics());
    app->bridge().setShowLyrics(true);
}

TEST(ReducedMotion, FollowsTheDesktopSwitch)
{
    const QString dir = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/gtk-3.0"_qs;
    QDir().mkpath(dir);
    const QString file = dir + u"/settings.ini"_qs;
    QFile::remove(file);
    qunsetenv("VELOTTE_REDUCED_MOTION");
    EXPECT_FALSE(ControllerShell::desktopAsksReducedMotion());
    QSettings(file, QSettings::IniFormat).setValue(u"Settings/gtk-enable-animations"_qs, u"false"_qs);
    EXPECT_TRUE(ControllerShell::desktopAsksReducedMotion());
    qputenv("VELOTTE_REDUCED_MOTION", "0"); // the program's own switch wins
    EXPECT_FALSE(ControllerShell::desktopAsksReducedMotion());
    qunsetenv("VELOTTE_REDUCED_MOTION");
    QFile::remove(file);
}

TEST(SingleInstance, SecondStartHandsOverItsArguments)
{
    const QString name = u"velotte-test-%1"_qs.arg(QCoreApplication::applicationPid());
    SingleInstance first(name);
    SingleInstance second(name);
    // Nobody listens yet: the second start would run on its own.
    EXPECT_FALSE(second.handOver(args({"--demo"}), 200));
    ASSERT_TRUE(first.listen());
    QSignalSpy reopened(&first, &SingleInstance::reopened);
    EXPECT_TRUE(second.handOver(args({"-VelotteScreen", "news"})));
    ASSERT_TRUE(reopened.wait(2000));
    EXPECT_EQ(reopened.first().first().toStringList(), args({"-VelotteScreen", "news"}));
}

#ifdef VELOTTE_WITH_BROWSE
TEST_F(Shell, MusicViewOnTheDemoHousehold)
{
    start(args({"--demo"}));
    app->shell().showController();
    find(u"account"_qs)->setProperty("open", true);
    EXPECT_TRUE(apptest::shows(panel(), u"This is the demo household. Start Velotte without --demo to reach your speakers."_qs));
    find(u"account"_qs)->setProperty("open", false);

    // Classical mode offers the kinds of work beside the composers, and narrows by them.
    app->bridge().setScreen(u"music"_qs);
    auto *music = qobject_cast<MusicPane *>(app->bridge().music());
    ASSERT_NE(music, nullptr);
    music->setClassical(true);
    EXPECT_TRUE(apptest::shows(panel(), u"Symphonies"_qs));
    music->setWork(u"Symphonies"_qs);
    ASSERT_EQ(music->favorites().size(), 1);
    EXPECT_EQ(music->favorites().first().toMap().value(u"id"_qs).toString(), u"demo-1"_qs);
    music->setWork({});
    music->setClassical(false);

    // Pins become quick picks and show on the rows.
    music->togglePin(u"demo-3"_qs);
    ASSERT_EQ(music->picks().size(), 1);
    EXPECT_TRUE(music->favorites()[2].toMap().value(u"pinned"_qs).toBool());
    music->togglePin(u"demo-3"_qs);
    EXPECT_TRUE(music->picks().isEmpty());

    music->setQuery(u"nothing by this name"_qs);
    EXPECT_TRUE(apptest::shows(panel(), u"No favorite matches."_qs));
    music->setQuery({});
    auto *view = find(u"view"_qs)->property("item").value<QObject *>();
    ASSERT_NE(view, nullptr);
    view->setProperty("part", u"suggest"_qs);
    EXPECT_TRUE(apptest::shows(panel(), u"Describe what you would like to hear; suggestions come from your favorites."_qs));
    view->setProperty("part", u"apple"_qs);
    EXPECT_TRUE(apptest::shows(panel(), u"Search the Apple Music catalog, or fill the queue with an artist's songs."_qs));
}

TEST_F(Shell, NoSpeakerToAskForNews)
{
    start(args({"--speakers", "127.0.0.1"})); // nothing answers there
    app->shell().showController();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app->session().isDiscovering() && !app->session().isBootstrapping(); }, 15000));
    app->bridge().setScreen(u"news"_qs);
    EXPECT_TRUE(apptest::shows(panel(), u"No speaker of this household can be reached."_qs));
}
#endif

// The sign-in window is a program of its own; a stand-in checks what it is
// given, then ends the way the test asks.
TEST(SignInProgram, RedirectComesBackOnceAndEveryOtherEndingFails)
{
    QTemporaryDir dir;
    const QString prefix = u"https://127.0.0.1/callback"_qs;
    const QUrl authorization{u"https://127.0.0.1/login/v3/oauth?client_id=x"_qs};
    auto program = [&](const QString &body) {
        QFile f(dir.filePath(u"signin"_qs));
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("#!/bin/sh\nread url\n" + body.toUtf8() + "\n");
        f.close();
        f.setPermissions(f.permissions() | QFile::ExeUser);
        return f.fileName();
    };
    {
        ProcessLoginPresenter login(program(uR"(case "$url" in https://127.0.0.1/login/*) ;; *) exit 4;; esac
[ "$1" = "https://127.0.0.1/callback" ] || exit 4
echo "https://127.0.0.1/callback?code=abc&state=s")"_qs));
        QSignalSpy opened(&login, &ProcessLoginPresenter::didOpen);
        QSignalSpy closed(&login, &ProcessLoginPresenter::didClose);
        EXPECT_EQ(velotte::test::await(login.callback(authorization, prefix)), QUrl(u"https://127.0.0.1/callback?code=abc&state=s"_qs));
        EXPECT_EQ(opened.count(), 1); // the panel makes way for it
        EXPECT_EQ(closed.count(), 1);
    }
    {
        ProcessLoginPresenter login(program(u"exit 3"_qs)); // the window was closed
        QSignalSpy closed(&login, &ProcessLoginPresenter::didClose);
        EXPECT_THROW(velotte::test::await(login.callback(authorization, prefix)), Cancelled);
        EXPECT_EQ(closed.count(), 1);
    }
    // A failed page, or anything but the program's own redirect.
    for (const QString &body : {u"exit 4"_qs, u"echo https://127.0.0.2/elsewhere?code=abc"_qs}) {
        ProcessLoginPresenter login(program(body));
        EXPECT_THROW(velotte::test::await(login.callback(authorization, prefix)), SonosError) << body.toStdString();
    }
    // No window: the panel stays where it is.
    ProcessLoginPresenter missing(dir.filePath(u"no-such-program"_qs));
    QSignalSpy opened(&missing, &ProcessLoginPresenter::didOpen);
    EXPECT_THROW(velotte::test::await(missing.callback(authorization, prefix)), SonosError);
    EXPECT_EQ(opened.count(), 0);
#ifdef VELOTTE_SIGNIN
    // The real window: an address elsewhere over plain HTTP never reaches the web engine.
    ProcessLoginPresenter real(QStringLiteral(VELOTTE_SIGNIN));
    QSignalSpy closed(&real, &ProcessLoginPresenter::didClose);
    EXPECT_THROW(velotte::test::await(real.callback(QUrl(u"http://example.com/login"_qs), prefix)), SonosError);
    EXPECT_EQ(closed.count(), 1);
#endif
}

#ifdef VELOTTE_WITH_NEWS
TEST(NewsPaneText, DaysAndEdits)
{
    const std::vector<std::pair<QVariantList, QString>> days{{{1, 2, 3, 4, 5}, u"Weekdays"_qs}, {{0, 6}, u"Weekends"_qs}, {{0, 1, 2, 3, 4, 5, 6}, u"Every day"_qs},
                                                             {{0, 3, 1}, u"Mon, Wed, Sun"_qs}, {{}, u"Never"_qs}, {{9, -1}, u"Never"_qs}};
    for (const auto &[list, text] : days)
        EXPECT_EQ(NewsPane::daysText(list), text);

    NewsSchedule s;
    s.days = {1};
    const NewsSchedule e = NewsPane::edited(s, {{u"hour"_qs, 31}, {u"minute"_qs, -4}, {u"volume"_qs, 140}, {u"days"_qs, QVariantList{0, 6, 8}}});
    EXPECT_EQ(std::tuple(e.hour, e.minute, e.volume), std::tuple(23, 0, 100));
    EXPECT_EQ(e.days, (std::set<int>{0, 6}));
    EXPECT_EQ(e.language, s.language); // fields not given stay
}
#endif

} // namespace

int main(int argc, char **argv) { return apptest::runTests(argc, argv); }
