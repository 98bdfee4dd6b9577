// On an X server the panel asks to be on every desktop.
#include "appmain.h"

#include "app/controllerapp.h"

#include <QApplication>
#include <QCursor>
#include <QSystemTrayIcon>
#include <QQuickView>
#include <QTest>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>
#include <gtest/gtest.h>
#include "core/shutdown.h"

using namespace velotte;

TEST(X11Panel, OnEveryDesktop)
{
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    ASSERT_NE(x11, nullptr) << "run under an X server (xvfb-run)";
    LaunchOptions launch;
    launch.demo = true;
    ControllerApp app(launch, {.tray = true, .reducedMotion = true, .mpris = false, .widget = false});
    app.start();
    app.shell().showController();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(app.shell().panel()));

    xcb_connection_t *c = x11->connection();
    const char *name = "_NET_WM_DESKTOP";
    xcb_intern_atom_reply_t *atom = xcb_intern_atom_reply(c, xcb_intern_atom(c, 1, uint16_t(qstrlen(name)), name), nullptr);
    ASSERT_NE(atom, nullptr);
    xcb_get_property_reply_t *reply = xcb_get_property_reply(
        c, xcb_get_property(c, 0, xcb_window_t(app.shell().panel()->winId()), atom->atom, XCB_ATOM_CARDINAL, 0, 1), nullptr);
    std::free(atom);
    ASSERT_NE(reply, nullptr);
    ASSERT_EQ(xcb_get_property_value_length(reply), 4);
    EXPECT_EQ(*static_cast<uint32_t *>(xcb_get_property_value(reply)), 0xFFFFFFFFu);
    std::free(reply);
}

TEST(X11Panel, OpensWhereTheIconWasClicked)
{
    LaunchOptions launch;
    launch.demo = true;
    ControllerApp app(launch, {.tray = true, .reducedMotion = true, .mpris = false, .widget = false});
    app.start();
    QSystemTrayIcon *tray = app.shell().tray();
    ASSERT_NE(tray, nullptr);
    if (tray->geometry().isValid())
        GTEST_SKIP() << "this X server has a tray that tells where the icon is";

    // An icon low on the screen, as in a bottom panel: the panel opens above it.
    QCursor::setPos(700, 880);
    ASSERT_TRUE(QTest::qWaitFor([] { return QCursor::pos() == QPoint(700, 880); }, 2000));
    Q_EMIT tray->activated(QSystemTrayIcon::Trigger);
    ASSERT_TRUE(app.shell().isShown());
    const QRect frame = app.shell().panel()->geometry();
    EXPECT_NEAR(frame.center().x(), 700, 2);
    EXPECT_LT(frame.bottom(), 880);
    EXPECT_GT(frame.bottom(), 880 - 40);

    // Another click near the top-left corner: the next opening follows it.
    Q_EMIT tray->activated(QSystemTrayIcon::Trigger);
    ASSERT_FALSE(app.shell().isShown());
    QCursor::setPos(30, 10);
    ASSERT_TRUE(QTest::qWaitFor([] { return QCursor::pos() == QPoint(30, 10); }, 2000));
    Q_EMIT tray->activated(QSystemTrayIcon::Trigger);
    const QRect top = app.shell().panel()->geometry();
    EXPECT_GE(top.left(), 8) << "inside the screen";
    EXPECT_GT(top.top(), 10);
    EXPECT_LT(top.top(), 60);
}

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    apptest::useLoopbackServices();
    ::testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    velotte::settleBeforeExit(); // nothing a test cancelled stays suspended
    return status;
}
