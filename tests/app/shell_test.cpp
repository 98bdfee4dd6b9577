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

#include <QApplication>
#include <QIcon>
#include <QPainter>
#include <QSettings>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <QFile>
#include <QQuickItem>
#include <QQuickView>
#include <QSaveFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <cmath>

#ifdef VELOTTE_WITH_NEWS
#include "app/newspane.h"
#endif
#ifdef VELOTTE_WITH_BROWSE
#include "app/musicpane.h"
#include "core/shutdown.h"
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

TEST(LaunchArguments, ScreensAndModes)
{
    EXPECT_EQ(LaunchOptions::parse(args({"-VelotteScreen", "news"})).screen, u"news"_qs);
    EXPECT_EQ(LaunchOptions::parse(args({"--screen", "rooms"})).screen, u"rooms"_qs);
    EXPECT_EQ(LaunchOptions::parse(args({"--screen=music"})).screen, u"music"_qs);
    // As the last argument, or with a word it does not know, the default screen.
    EXPECT_TRUE(LaunchOptions::parse(args({"-VelotteDemo", "-VelotteScreen"})).screen.isEmpty());
    EXPECT_TRUE(LaunchOptions::parse(args({"-VelotteScreen", "kitchen"})).screen.isEmpty());
    // The word after it is its value, never another flag's.
    const LaunchOptions o = LaunchOptions::parse(args({"-VelotteScreen", "-VelotteDemo"}));
    EXPECT_TRUE(o.screen.isEmpty());

    EXPECT_TRUE(LaunchOptions::parse(args({"-VelotteDemo"})).demo);
    EXPECT_TRUE(LaunchOptions::parse(args({"--demo"})).demo);
    EXPECT_TRUE(LaunchOptions::parse(args({"-VelotteGuest"})).guest);
    EXPECT_TRUE(LaunchOptions::parse(args({"--guest"})).guest);
    EXPECT_FALSE(LaunchOptions::parse(args({})).demo);
    EXPECT_EQ(LaunchOptions::parse(args({"--speakers", "127.0.0.11, 127.0.0.12,"})).speakers,
              (QStringList{u"127.0.0.11"_qs, u"127.0.0.12"_qs}));
    // The program's own name is never read as an argument.
    EXPECT_FALSE(LaunchOptions::parse({u"--demo"_qs}).demo);
}

TEST(LaunchArguments, FavoriteLinks)
{
    const LaunchOptions o = LaunchOptions::parse(args({"velotte://favorite/FV%3A2%2F17"}));
    // Sonos favorite ids carry slashes of their own.
    EXPECT_EQ(LaunchOptions::favoriteOf(o.link), u"FV:2/17"_qs);
    EXPECT_EQ(LaunchOptions::favoriteOf(QUrl(u"velotte://favorite/demo-2"_qs)), u"demo-2"_qs);
    EXPECT_TRUE(LaunchOptions::favoriteOf(QUrl(u"velotte://playlist/demo-2"_qs)).isEmpty());
    EXPECT_TRUE(LaunchOptions::favoriteOf(QUrl(u"https://favorite/demo-2"_qs)).isEmpty());
    EXPECT_TRUE(LaunchOptions::favoriteOf(QUrl(u"velotte://favorite/"_qs)).isEmpty());
    EXPECT_EQ(LaunchOptions::favoriteOf(QUrl(u"velotte://favorite/FV:2/17"_qs)), u"FV:2/17"_qs);
    // The widget's links come back to the same id.
    EXPECT_EQ(LaunchOptions::favoriteOf(WidgetFeed::linkFor(u"FV:2/17"_qs)), u"FV:2/17"_qs);
    EXPECT_EQ(LaunchOptions::favoriteOf(WidgetFeed::linkFor(u"demo 4"_qs)), u"demo 4"_qs);
}

struct Shell : ::testing::Test {
    std::unique_ptr<ControllerApp> app;

    void start(const QStringList &arguments, bool tray = true, bool reducedMotion = true)
    {
        app = std::make_unique<ControllerApp>(LaunchOptions::parse(arguments),
                                              ControllerApp::Options{.tray = tray, .reducedMotion = reducedMotion, .mpris = false, .widget = false});
        app->start();
    }
    QQuickView *panel() { return app->shell().panel(); }
    QString loadedView()
    {
        auto *loader = panel()->rootObject()->findChild<QObject *>(u"view"_qs);
        return loader ? loader->property("source").toUrl().fileName() : QString();
    }
    void pressEscape() { QTest::keyClick(panel(), Qt::Key_Escape); }
    // Shows the panel with its account sheet open over the view.
    QObject *openAccount()
    {
        app->shell().showController();
        auto *account = panel()->rootObject()->findChild<QObject *>(u"account"_qs);
        if (account)
            account->setProperty("open", true);
        return account;
    }
};

TEST_F(Shell, StartsHiddenAndPollingFollowsThePanel)
{
    start(args({"--demo"}));
    ASSERT_TRUE(panel()->status() == QQuickView::Ready) << "the panel's views did not load";
    EXPECT_FALSE(app->shell().isShown());
    EXPECT_FALSE(app->session().pollingEnabled());
    EXPECT_EQ(app->shell().controllerSize(), QSize(340, 620));

    QSignalSpy shown(&app->shell(), &ControllerShell::shownChanged);
    app->shell().toggle();
    EXPECT_TRUE(app->shell().isShown());
    EXPECT_TRUE(app->session().pollingEnabled());
    EXPECT_EQ(panel()->size(), QSize(340, 620));
    EXPECT_TRUE(panel()->flags().testFlag(Qt::FramelessWindowHint));
    EXPECT_TRUE(panel()->flags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_TRUE(panel()->flags().testFlag(Qt::Tool)); // not in the task bar

    pressEscape();
    EXPECT_FALSE(app->shell().isShown());
    EXPECT_FALSE(app->session().pollingEnabled());
    // The next click on the icon shows it again.
    app->shell().toggle();
    EXPECT_TRUE(app->shell().isShown());
    app->shell().toggle();
    EXPECT_FALSE(app->shell().isShown());
    EXPECT_EQ(shown.count(), 4);
}

TEST_F(Shell, PanelIsPlacedInsideTheScreenAndFollowsItsSize)
{
    start(args({"--demo"}));
    app->shell().showController();
    const QRect available = panel()->screen()->availableGeometry().adjusted(8, 8, -8, -8);
    EXPECT_TRUE(available.contains(panel()->geometry())) << "panel outside the screen";

    app->shell().resizeController(QSize(340, 480));
    EXPECT_EQ(panel()->size(), QSize(340, 480));
    // Taller than the screen: clamped to it.
    app->shell().resizeController(QSize(340, 40000));
    EXPECT_EQ(panel()->height(), available.height());
    EXPECT_TRUE(available.contains(panel()->geometry()));
    // Hidden, it only remembers the size for the next showing.
    app->shell().hideController();
    app->shell().resizeController(QSize(300, 500));
    app->shell().showController();
    EXPECT_EQ(panel()->size(), QSize(300, 500));
}

TEST_F(Shell, TrayIconFollowsPlayback)
{
    start(args({"--demo"}));
    ASSERT_NE(app->shell().tray(), nullptr);
    EXPECT_EQ(app->shell().tray()->toolTip(), u"Velotte"_qs);
    EXPECT_EQ(app->shell().iconName(), u"velotte-speaker-filled-symbolic"_qs);
    // Not installed, the tray gets the picture itself; it must read on a light
    // panel and on a dark one.
    auto readsOn = [](const QIcon &icon, QColor panel) {
        QImage image(22, 22, QImage::Format_RGB32);
        image.fill(panel);
        QPainter(&image).drawPixmap(0, 0, icon.pixmap(22, 22));
        auto luminance = [](QColor c) {
            auto linear = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
            return 0.2126 * linear(c.redF()) + 0.7152 * linear(c.greenF()) + 0.0722 * linear(c.blueF());
        };
        const double back = luminance(panel);
        double best = 1;
        for (int y = 0; y < 22; ++y)
            for (int x = 0; x < 22; ++x) {
                const double l = luminance(image.pixelColor(x, y));
                best = std::max(best, (std::max(l, back) + 0.05) / (std::min(l, back) + 0.05));
            }
        return best >= 3.0;
    };
    for (const QColor panel : {QColor(Qt::white), QColor(0xf0, 0xf0, 0xf0), QColor(Qt::black), QColor(0x2b, 0x2b, 0x2b)})
        EXPECT_TRUE(readsOn(app->shell().tray()->icon(), panel)) << panel.name().toStdString();

    // Installed in the icon theme, it goes by name, for the desktop to paint.
    QTemporaryDir themes;
    QDir().mkpath(themes.filePath(u"hicolor/symbolic/apps"_qs));
    QFile index(themes.filePath(u"hicolor/index.theme"_qs));
    ASSERT_TRUE(index.open(QIODevice::WriteOnly));
    index.write("[Icon Theme]\nName=hicolor\nDirectories=symbolic/apps\n[symbolic/apps]\nSize=16\nMinSize=8\nMaxSize=512\nType=Scalable\n");
    index.close();
    for (const char *name : {"velotte-speaker-symbolic", "velotte-speaker-filled-symbolic"})
        ASSERT_TRUE(QFile::copy(u":/velotte/icons/%1.svg"_qs.arg(QLatin1String(name)), themes.filePath(u"hicolor/symbolic/apps/%1.svg"_qs.arg(QLatin1String(name)))));
    const QStringList searchPaths = QIcon::themeSearchPaths();
    const QString themeName = QIcon::themeName();
    QIcon::setThemeSearchPaths({themes.path()});
    QIcon::setThemeName(u"hicolor"_qs);
    app->session().playback()->toggle();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app->session().playback()->isPlaying(); }, 2000));
    EXPECT_EQ(app->shell().tray()->icon().name(), u"velotte-speaker-symbolic"_qs);
    QIcon::setThemeSearchPaths(searchPaths);
    QIcon::setThemeName(themeName);
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

TEST_F(Shell, WithoutATrayThePanelOpensAtStart)
{
    start(args({"--demo"}), false);
    EXPECT_TRUE(app->shell().isShown());
    EXPECT_TRUE(app->session().pollingEnabled());
    EXPECT_FALSE(panel()->flags().testFlag(Qt::Tool)); // a normal window the desktop lists
}

TEST_F(Shell, StartedHiddenThePanelWaitsForTheIcon)
{
    // At login the tray may not be up yet; the panel must not open as a window.
    start(args({"--demo", "--hidden"}), false);
    EXPECT_FALSE(app->shell().isShown());
    // Nor when the login start meets a program that already runs.
    app->reopen(args({"--hidden"}));
    EXPECT_FALSE(app->shell().isShown());
    app->reopen(args({}));
    EXPECT_TRUE(app->shell().isShown());
}

TEST_F(Shell, StartAtLoginSwitchWritesAndRemovesTheEntry)
{
    start(args({"--demo"}));
    ASSERT_NE(openAccount(), nullptr);
    auto *toggle = panel()->rootObject()->findChild<QQuickItem *>(u"startAtLogin"_qs);
    ASSERT_NE(toggle, nullptr);
    const QString entry = Autostart::defaultFile();
    const auto click = [&] {
        QTest::mouseClick(panel(), Qt::LeftButton, {}, toggle->mapToScene(toggle->boundingRect().center()).toPoint());
    };
    EXPECT_FALSE(toggle->property("checked").toBool()); // off until the user asks
    click();
    EXPECT_TRUE(QFile::exists(entry));
    EXPECT_TRUE(toggle->property("checked").toBool());
    click();
    EXPECT_FALSE(QFile::exists(entry));
    EXPECT_FALSE(toggle->property("checked").toBool());
}

TEST_F(Shell, LaunchScreenChoosesTheFirstView)
{
    start(args({"--demo", "-VelotteScreen", "news"}));
    EXPECT_EQ(app->bridge().screen(), u"news"_qs);
    EXPECT_EQ(loadedView(), u"NewsView.qml"_qs);
    app.reset();

    start(args({"--demo", "-VelotteScreen"}));
    EXPECT_EQ(app->bridge().screen(), u"now"_qs);
    EXPECT_EQ(loadedView(), u"NowPlayingView.qml"_qs);

    // A second start of the program picks the screen and shows the panel.
    app->reopen(args({"--screen", "rooms"}));
    EXPECT_TRUE(app->shell().isShown());
    EXPECT_EQ(loadedView(), u"RoomsView.qml"_qs);
}

TEST_F(Shell, PanelTakesTheHeightItsViewAsksFor)
{
    start(args({"--demo"}));
    app->shell().showController();
    EXPECT_EQ(app->shell().controllerSize(), QSize(340, 620));
    // Two rooms need less than the full panel.
    app->bridge().setScreen(u"rooms"_qs);
    const int rooms = app->shell().controllerSize().height();
    EXPECT_LT(rooms, 620);
    EXPECT_GE(rooms, 460);
    EXPECT_EQ(panel()->height(), rooms);
    // Lyrics take the whole panel again.
    app->bridge().setScreen(u"lyrics"_qs);
    EXPECT_EQ(app->shell().controllerSize(), QSize(340, 620));
    EXPECT_EQ(panel()->height(), 620);
}

TEST_F(Shell, EveryViewLoadsOnTheDemoHousehold)
{
    start(args({"--demo"}));
    app->shell().showController();
    for (const char *screen : {"now", "sound", "rooms", "music", "news", "lyrics"}) {
        app->bridge().setScreen(QString::fromLatin1(screen));
        auto *loader = panel()->rootObject()->findChild<QObject *>(u"view"_qs);
        ASSERT_NE(loader, nullptr);
        EXPECT_EQ(loader->property("status").toInt(), 1) << screen << " did not load"; // Loader.Ready
    }
    app->bridge().setScreen(u"now"_qs);
    auto *title = panel()->rootObject()->findChild<QObject *>(u"title"_qs);
    ASSERT_NE(title, nullptr);
    EXPECT_EQ(title->property("text").toString(), u"Gymnopédie No. 1"_qs);
}

TEST_F(Shell, FavoriteLinkWithoutASonosConnection)
{
    start(args({"--demo"}));
    // The demo household has favorites but no cloud connection to play them with.
    app->bridge().openLink(QUrl(u"velotte://favorite/demo-2"_qs));
    EXPECT_EQ(app->bridge().message(), u"Connect to Sonos and refresh Browse to play this favorite."_qs);
    auto *status = panel()->rootObject()->findChild<QObject *>(u"statusLine"_qs);
    ASSERT_NE(status, nullptr);
    EXPECT_EQ(status->property("text").toString(), app->bridge().message());
    // Links that are not favorites change nothing.
    app->bridge().setMessage({});
    app->bridge().openLink(QUrl(u"velotte://elsewhere/demo-2"_qs));
    EXPECT_TRUE(app->bridge().message().isEmpty());
    // A link that starts the program shows the panel with the sentence.
    app.reset();
    start(args({"--demo", "velotte://favorite/demo-1"}));
    EXPECT_TRUE(app->shell().isShown());
    EXPECT_EQ(app->bridge().message(), ControllerBridge::notConnectedText());
}

TEST_F(Shell, RoomListsFollowTheSession)
{
    start(args({"--demo"}));
    auto *groups = qobject_cast<QAbstractItemModel *>(app->bridge().groups());
    auto *players = qobject_cast<QAbstractItemModel *>(app->bridge().players());
    ASSERT_EQ(groups->rowCount(), 2);
    const QHash<int, QByteArray> roles = groups->roleNames();
    auto role = [&roles](const char *name) { return roles.key(name); };
    EXPECT_EQ(groups->data(groups->index(0, 0), role("name")).toString(), u"Living Room"_qs);
    EXPECT_TRUE(groups->data(groups->index(0, 0), role("active")).toBool());
    EXPECT_EQ(groups->data(groups->index(0, 0), role("nowPlaying")).toString(), u"Gymnopédie No. 1"_qs);
    EXPECT_EQ(groups->data(groups->index(1, 0), role("nowPlaying")).toString(), u"Idle"_qs);
    EXPECT_FALSE(groups->data(groups->index(5, 0), role("name")).isValid());

    QSignalSpy changed(groups, &QAbstractItemModel::dataChanged);
    app->session().choose(u"bedroom"_qs);
    EXPECT_GE(changed.count(), 1);
    EXPECT_TRUE(groups->data(groups->index(1, 0), role("active")).toBool());

    ASSERT_EQ(players->rowCount(), 2);
    const QHash<int, QByteArray> playerRoles = players->roleNames();
    EXPECT_TRUE(players->data(players->index(1, 0), playerRoles.key("inGroup")).toBool());
    EXPECT_FALSE(players->data(players->index(0, 0), playerRoles.key("inGroup")).toBool());
}

TEST_F(Shell, WidgetSnapshotIsWrittenForTheRunningHousehold)
{
    QFile::remove(ControllerWidgetSnapshot::file());
    app = std::make_unique<ControllerApp>(LaunchOptions::parse(args({"--demo"})),
                                          ControllerApp::Options{.tray = true, .reducedMotion = true, .mpris = false, .widget = true});
    app->start();
    ASSERT_TRUE(QTest::qWaitFor([] { return QFile::exists(ControllerWidgetSnapshot::file()); }, 3000));
    QFile f(ControllerWidgetSnapshot::file());
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const std::optional<ControllerWidgetSnapshot> s = ControllerWidgetSnapshot::decode(f.readAll());
    ASSERT_TRUE(s.has_value());
    EXPECT_EQ(s->room, u"Living Room"_qs);
    EXPECT_EQ(s->title, u"Gymnopédie No. 1"_qs);
    EXPECT_EQ(s->picks.size(), 5);
    // The widget reading that file shows the same.
    WidgetFeed feed(ControllerWidgetSnapshot::file());
    EXPECT_EQ(feed.title(), s->title);
    EXPECT_EQ(feed.picks().size(), 5);
}

TEST_F(Shell, ShowLyricsIsRemembered)
{
    start(args({"--demo"}));
    app->bridge().setShowLyrics(false);
    app.reset();
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
    {
        QSettings s(file, QSettings::IniFormat);
        s.setValue(u"Settings/gtk-enable-animations"_qs, u"false"_qs);
    }
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

struct Feed : ::testing::Test {
    QTemporaryDir dir;
    QString file() const { return dir.filePath(u"velotte/controller-widget.json"_qs); }
    void write(const QByteArray &bytes)
    {
        QDir().mkpath(dir.filePath(u"velotte"_qs));
        QSaveFile out(file());
        ASSERT_TRUE(out.open(QIODevice::WriteOnly));
        out.write(bytes);
        ASSERT_TRUE(out.commit());
    }
};

TEST_F(Feed, ShowsTheSnapshotAndFollowsItsReplacement)
{
    WidgetFeed feed(file());
    EXPECT_FALSE(feed.available());
    EXPECT_EQ(feed.title(), u"Open your controller"_qs);

    ControllerWidgetSnapshot s{u"Kitchen"_qs, u"Clair de lune"_qs, u"Debussy"_qs, true, QDateTime::currentDateTimeUtc(), {{u"f1"_qs, u"Jazz"_qs}}};
    QSignalSpy changed(&feed, &WidgetFeed::changed);
    write(s.encode());
    ASSERT_TRUE(changed.wait(3000)) << "the widget did not see the new file";
    EXPECT_TRUE(feed.available());
    EXPECT_EQ(feed.room(), u"Kitchen"_qs);
    EXPECT_EQ(feed.title(), u"Clair de lune"_qs);
    EXPECT_TRUE(feed.playing());
    ASSERT_EQ(feed.picks().size(), 1);
    EXPECT_EQ(feed.picks().first().toMap().value(u"name"_qs).toString(), u"Jazz"_qs);

    // Replaced again: the watch survives the swap of files.
    s.title = u"The Swan"_qs;
    s.picks.clear();
    changed.clear();
    write(s.encode());
    ASSERT_TRUE(QTest::qWaitFor([&] { return feed.title() == u"The Swan"_qs; }, 3000));
    EXPECT_TRUE(feed.picks().isEmpty());
}

TEST_F(Feed, BrokenFileShowsTheEmptyWidget)
{
    write(R"({"room":"Kitchen","title":3})");
    WidgetFeed feed(file());
    EXPECT_FALSE(feed.available());
    EXPECT_EQ(feed.title(), u"Open your controller"_qs);
    EXPECT_TRUE(feed.room().isEmpty());
    write("not json at all");
    feed.reload();
    EXPECT_FALSE(feed.available());
}

#ifdef VELOTTE_WITH_BROWSE
TEST_F(Shell, MusicListsOnTheDemoHousehold)
{
    start(args({"--demo"}));
    auto *music = qobject_cast<MusicPane *>(app->bridge().music());
    ASSERT_NE(music, nullptr);
    EXPECT_EQ(music->favorites().size(), 5);
    EXPECT_EQ(music->services(), (QStringList{u"Apple Music"_qs, u"Spotify"_qs, u"TuneIn"_qs}));

    music->setService(u"Spotify"_qs);
    ASSERT_EQ(music->favorites().size(), 1);
    EXPECT_EQ(music->favorites().first().toMap().value(u"name"_qs).toString(), u"Morning Piano"_qs);
    music->setService({});
    music->setQuery(u"chopin"_qs);
    ASSERT_EQ(music->favorites().size(), 1);
    music->setQuery({});

    // Classical mode offers the kinds of work beside the composers, and narrows by them.
    app->shell().showController();
    app->bridge().setScreen(u"music"_qs);
    music->setClassical(true);
    EXPECT_EQ(music->works(), QStringList{u"Symphonies"_qs});
    QTest::qWait(50);
    EXPECT_TRUE(apptest::shownTexts(panel()).contains(u"Symphonies"_qs)) << apptest::shownTexts(panel()).join(u" | "_qs).toStdString();
    music->setWork(u"Symphonies"_qs);
    ASSERT_EQ(music->favorites().size(), 1);
    EXPECT_EQ(music->favorites().first().toMap().value(u"id"_qs).toString(), u"demo-1"_qs);
    music->setWork({});
    EXPECT_GT(music->favorites().size(), 1);
    music->setClassical(false);

    // Pins become quick picks, in pin order, and show on the rows.
    music->togglePin(u"demo-3"_qs);
    music->togglePin(u"demo-1"_qs);
    ASSERT_EQ(music->picks().size(), 2);
    EXPECT_EQ(music->picks().first().toMap().value(u"id"_qs).toString(), u"demo-3"_qs);
    EXPECT_TRUE(music->favorites()[2].toMap().value(u"pinned"_qs).toBool());
    music->togglePin(u"demo-3"_qs);
    music->togglePin(u"demo-1"_qs);
    EXPECT_TRUE(music->picks().isEmpty());
}

TEST_F(Shell, ViewsSayWhatTheyWaitFor)
{
    start(args({"--demo"}));
    QObject *account = openAccount();
    ASSERT_NE(account, nullptr);
    QTest::qWait(50);
    EXPECT_TRUE(apptest::shownTexts(panel()).contains(u"This is the demo household. Start Velotte without --demo to reach your speakers."_qs));
    account->setProperty("open", false);

    app->bridge().setScreen(u"music"_qs);
    auto *loader = panel()->rootObject()->findChild<QObject *>(u"view"_qs);
    ASSERT_NE(loader, nullptr);
    auto *view = loader->property("item").value<QObject *>();
    ASSERT_NE(view, nullptr);
    auto *music = qobject_cast<MusicPane *>(app->bridge().music());
    ASSERT_NE(music, nullptr);
    music->setQuery(u"nothing by this name"_qs);
    QTest::qWait(50);
    EXPECT_TRUE(apptest::shownTexts(panel()).contains(u"No favorite matches."_qs)) << apptest::shownTexts(panel()).join(u" | "_qs).toStdString();
    music->setQuery({});
    view->setProperty("part", u"suggest"_qs);
    QTest::qWait(50);
    EXPECT_TRUE(apptest::shownTexts(panel()).contains(u"Describe what you would like to hear; suggestions come from your favorites."_qs));
    view->setProperty("part", u"apple"_qs);
    QTest::qWait(50);
    EXPECT_TRUE(apptest::shownTexts(panel()).contains(u"Search the Apple Music catalog, or fill the queue with an artist's songs."_qs));
}

TEST_F(Shell, NoSpeakerToAskForNews)
{
    start(args({"--speakers", "127.0.0.1"})); // nothing answers there
    app->shell().showController();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app->session().isDiscovering() && !app->session().isBootstrapping(); }, 15000));
    app->bridge().setScreen(u"news"_qs);
    EXPECT_TRUE(QTest::qWaitFor([&] { return apptest::shownTexts(panel()).contains(u"No speaker of this household can be reached."_qs); }, 5000))
        << apptest::shownTexts(panel()).join(u" | "_qs).toStdString();
}

TEST_F(Shell, CatalogSearchThatCannotReachTheService)
{
    start(args({"--demo"}));
    auto *music = qobject_cast<MusicPane *>(app->bridge().music());
    ASSERT_NE(music, nullptr);
    music->search(u"satie"_qs);
    EXPECT_TRUE(music->searching());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !music->searching(); }, 10000));
    EXPECT_TRUE(music->results().isEmpty());
    EXPECT_EQ(music->searchNote(), u"The Apple Music catalog could not be reached. Check your internet connection."_qs);
    // An empty search clears what was there.
    music->search(u"  "_qs);
    EXPECT_FALSE(music->searching());
    EXPECT_TRUE(music->searchNote().isEmpty());
    music->playResult(7, u"play"_qs); // no such row: nothing happens
}
#endif

struct SignInProgram : ::testing::Test {
    QTemporaryDir dir;
    const QString prefix = u"https://127.0.0.1/callback"_qs;
    const QUrl authorization{u"https://127.0.0.1/login/v3/oauth?client_id=x"_qs};
    // A stand-in for the sign-in window: checks what it is given, then ends
    // the way the test asks.
    QString program(const QString &body)
    {
        const QString path = dir.filePath(u"signin"_qs);
        QFile f(path);
        EXPECT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("#!/bin/sh\nread url\n" + body.toUtf8() + "\n");
        f.close();
        f.setPermissions(f.permissions() | QFile::ExeUser);
        return path;
    }
};

TEST_F(SignInProgram, RedirectComesBackAndThePanelIsToldOnce)
{
    ProcessLoginPresenter login(program(uR"(case "$url" in https://127.0.0.1/login/*) ;; *) exit 4;; esac
[ "$1" = "https://127.0.0.1/callback" ] || exit 4
echo "https://127.0.0.1/callback?code=abc&state=s")"_qs));
    QSignalSpy opened(&login, &ProcessLoginPresenter::didOpen);
    QSignalSpy closed(&login, &ProcessLoginPresenter::didClose);
    const QUrl redirect = velotte::test::await(login.callback(authorization, prefix));
    EXPECT_EQ(redirect, QUrl(u"https://127.0.0.1/callback?code=abc&state=s"_qs));
    EXPECT_EQ(opened.count(), 1); // the panel makes way for it
    EXPECT_EQ(closed.count(), 1);
}

TEST_F(SignInProgram, ClosedWindowFailedPageAndMissingProgram)
{
    {
        ProcessLoginPresenter login(program(u"exit 3"_qs));
        QSignalSpy closed(&login, &ProcessLoginPresenter::didClose);
        EXPECT_THROW(velotte::test::await(login.callback(authorization, prefix)), Cancelled);
        EXPECT_EQ(closed.count(), 1);
    }
    {
        ProcessLoginPresenter login(program(u"exit 4"_qs));
        EXPECT_THROW(velotte::test::await(login.callback(authorization, prefix)), SonosError);
    }
    {
        // Anything but the program's own redirect is not accepted.
        ProcessLoginPresenter login(program(u"echo https://127.0.0.2/elsewhere?code=abc"_qs));
        EXPECT_THROW(velotte::test::await(login.callback(authorization, prefix)), SonosError);
    }
    {
        // No window: the panel stays where it is.
        ProcessLoginPresenter login(dir.filePath(u"no-such-program"_qs));
        QSignalSpy opened(&login, &ProcessLoginPresenter::didOpen);
        EXPECT_THROW(velotte::test::await(login.callback(authorization, prefix)), SonosError);
        EXPECT_EQ(opened.count(), 0);
    }
}

#ifdef VELOTTE_SIGNIN
TEST_F(SignInProgram, TheRealWindowRefusesAnAddressThatIsNotSonos)
{
    // An address elsewhere over plain HTTP never reaches the web engine.
    ProcessLoginPresenter login(QStringLiteral(VELOTTE_SIGNIN));
    QSignalSpy closed(&login, &ProcessLoginPresenter::didClose);
    EXPECT_THROW(velotte::test::await(login.callback(QUrl(u"http://example.com/login"_qs), prefix)), SonosError);
    EXPECT_EQ(closed.count(), 1);
}
#endif

#ifdef VELOTTE_WITH_NEWS
TEST(NewsPaneText, DaysAndEdits)
{
    auto days = [](std::initializer_list<int> list) {
        QVariantList v;
        for (int d : list)
            v << d;
        return NewsPane::daysText(v);
    };
    EXPECT_EQ(days({1, 2, 3, 4, 5}), u"Weekdays"_qs);
    EXPECT_EQ(days({0, 6}), u"Weekends"_qs);
    EXPECT_EQ(days({0, 1, 2, 3, 4, 5, 6}), u"Every day"_qs);
    EXPECT_EQ(days({0, 3, 1}), u"Mon, Wed, Sun"_qs);
    EXPECT_EQ(days({}), u"Never"_qs);
    EXPECT_EQ(days({9, -1}), u"Never"_qs);

    NewsSchedule s;
    s.days = {1};
    const NewsSchedule e = NewsPane::edited(s, {{u"hour"_qs, 31}, {u"minute"_qs, -4}, {u"volume"_qs, 140}, {u"days"_qs, QVariantList{0, 6, 8}}});
    EXPECT_EQ(e.hour, 23);
    EXPECT_EQ(e.minute, 0);
    EXPECT_EQ(e.volume, 100);
    EXPECT_EQ(e.days, (std::set<int>{0, 6}));
    EXPECT_EQ(e.language, s.language); // fields not given stay
}
#endif

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    apptest::useLoopbackServices();
    ::testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    velotte::settleBeforeExit(); // nothing a test cancelled stays suspended
    return status;
}
