// On an X server the panel asks to be on every desktop, and behaves as a
// tray popup: a click elsewhere, Escape or another window taking the focus
// hides it, with or without a window manager.
#include "appmain.h"

#include "app/controllerapp.h"
#include "app/xcbatom.h"

#include <QCursor>
#include <QProcess>
#include <QStandardPaths>
#include <QSystemTrayIcon>
#include <QQuickView>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

#include <cstdlib>

using namespace velotte;

namespace {

// A reply of the server, freed with the scope.
template<typename Reply>
std::unique_ptr<Reply, decltype(&std::free)> owned(Reply *r)
{
    return {r, &std::free};
}

// A window manager would place the panel; with none, the test's own X server
// shows where the program asks.
TEST(X11Panel, OnEveryDesktopAndWhereTheIconWasClicked)
{
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    ASSERT_NE(x11, nullptr) << "run under an X server (xvfb-run)";
    ControllerApp app(LaunchOptions::parse({u"velotte"_qs, u"--demo"_qs}), {.tray = true, .reducedMotion = true, .mpris = false, .widget = false});
    app.start();
    QSystemTrayIcon *tray = app.shell().tray();
    ASSERT_NE(tray, nullptr);
    // The test's own X server has no tray: the icon's place is unknown, the pointer tells.
    ASSERT_FALSE(tray->geometry().isValid()) << "a tray on the test's X server tells where the icon is";
    // An icon low on the screen, as in a bottom panel: the panel opens above it.
    QCursor::setPos(700, 880);
    ASSERT_TRUE(QTest::qWaitFor([] { return QCursor::pos() == QPoint(700, 880); }, 2000));
    Q_EMIT tray->activated(QSystemTrayIcon::Trigger);
    const QRect frame = app.shell().panel()->geometry();
    ASSERT_TRUE(app.shell().isShown());
    EXPECT_NEAR(frame.center().x(), 700, 2);
    EXPECT_LT(frame.bottom(), 880);
    EXPECT_GT(frame.bottom(), 880 - 40);

    ASSERT_TRUE(QTest::qWaitForWindowExposed(app.shell().panel()));
    xcb_connection_t *c = x11->connection();
    const auto reply = owned(xcb_get_property_reply(
        c, xcb_get_property(c, 0, xcb_window_t(app.shell().panel()->winId()), xcbAtom(c, "_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL, 0, 1), nullptr));
    ASSERT_TRUE(reply && xcb_get_property_value_length(reply.get()) == 4);
    EXPECT_EQ(*static_cast<uint32_t *>(xcb_get_property_value(reply.get())), 0xFFFFFFFFu);
}

// Another program on the same display: a window of its own, and the means to
// ask for the focus and the pointer as any client would.
class OtherClient {
public:
    OtherClient() : m_c(xcb_connect(nullptr, nullptr))
    {
        if (xcb_connection_has_error(m_c))
            return;
        m_screen = xcb_setup_roots_iterator(xcb_get_setup(m_c)).data;
        m_window = xcb_generate_id(m_c);
        const uint32_t values[] = {m_screen->white_pixel, XCB_EVENT_MASK_FOCUS_CHANGE};
        xcb_create_window(m_c, XCB_COPY_FROM_PARENT, m_window, m_screen->root, 900, 80, 240, 160, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          m_screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
        xcb_map_window(m_c, m_window);
        xcb_flush(m_c);
    }
    ~OtherClient() { xcb_disconnect(m_c); }

    bool connected() const { return !xcb_connection_has_error(m_c); }
    xcb_window_t window() const { return m_window; }
    bool viewable()
    {
        const auto a = owned(xcb_get_window_attributes_reply(m_c, xcb_get_window_attributes(m_c, m_window), nullptr));
        return a && a->map_state == XCB_MAP_STATE_VIEWABLE;
    }
    // As a task bar asks a window manager, or straight from the server without one.
    void takeFocus(bool windowManager)
    {
        if (windowManager) {
            xcb_client_message_event_t event{.response_type = XCB_CLIENT_MESSAGE, .format = 32, .window = m_window, .type = xcbAtom(m_c, "_NET_ACTIVE_WINDOW")};
            event.data.data32[0] = 2; // from a pager: no focus-stealing rules apply
            xcb_send_event(m_c, 0, m_screen->root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                           reinterpret_cast<const char *>(&event));
        } else {
            xcb_set_input_focus(m_c, XCB_INPUT_FOCUS_POINTER_ROOT, m_window, XCB_CURRENT_TIME);
        }
        xcb_flush(m_c);
    }
    xcb_window_t focus()
    {
        const auto r = owned(xcb_get_input_focus_reply(m_c, xcb_get_input_focus(m_c), nullptr));
        return r ? r->focus : xcb_window_t(XCB_NONE);
    }
    // What a sign-in window needs: nobody else holding the pointer.
    bool canGrabPointer()
    {
        const auto r = owned(xcb_grab_pointer_reply(
            m_c, xcb_grab_pointer(m_c, 0, m_screen->root, XCB_EVENT_MASK_BUTTON_PRESS, XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC, XCB_NONE, XCB_NONE, XCB_CURRENT_TIME),
            nullptr));
        xcb_ungrab_pointer(m_c, XCB_CURRENT_TIME);
        xcb_flush(m_c);
        return r && r->status == XCB_GRAB_STATUS_SUCCESS;
    }
    // The root names a check window that names itself, while the manager lives.
    bool windowManagerRuns()
    {
        auto checkWindowOf = [this](xcb_window_t window) {
            const auto r = owned(xcb_get_property_reply(
                m_c, xcb_get_property(m_c, 0, window, xcbAtom(m_c, "_NET_SUPPORTING_WM_CHECK"), XCB_ATOM_WINDOW, 0, 1), nullptr));
            return r && xcb_get_property_value_length(r.get()) == 4 ? *static_cast<xcb_window_t *>(xcb_get_property_value(r.get())) : xcb_window_t(XCB_NONE);
        };
        const xcb_window_t check = checkWindowOf(m_screen->root);
        return check != XCB_NONE && checkWindowOf(check) == check;
    }

private:
    xcb_connection_t *m_c;
    xcb_screen_t *m_screen = nullptr;
    xcb_window_t m_window = XCB_NONE;
};

// Real input, as the X server gets it from a mouse and a keyboard.
void xdotool(const QStringList &arguments)
{
    const QString program = QStandardPaths::findExecutable(u"xdotool"_qs);
    ASSERT_FALSE(program.isEmpty()) << "xdotool is not installed (scripts/install.sh)";
    QProcess p;
    p.start(program, arguments);
    ASSERT_TRUE(p.waitForFinished(10000));
    ASSERT_EQ(p.exitCode(), 0) << p.readAllStandardError().toStdString();
}

// Counts the presses a window gets, before anyone else sees them.
struct PressCounter : QObject {
    explicit PressCounter(QObject *window) { window->installEventFilter(this); }
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::MouseButtonPress;
        return false;
    }
    int count = 0;
};

// The panel as a tray popup, under no window manager and under openbox.
struct Popup : ::testing::TestWithParam<bool> {
    QProcess windowManager;
    std::unique_ptr<ControllerApp> app;
    std::unique_ptr<OtherClient> other;

    bool withWindowManager() const { return GetParam(); }
    void SetUp() override
    {
        other = std::make_unique<OtherClient>();
        ASSERT_TRUE(other->connected());
        ASSERT_FALSE(other->windowManagerRuns()) << "a window manager is already running";
        if (withWindowManager()) {
            windowManager.start(u"openbox"_qs, {u"--sm-disable"_qs});
            ASSERT_TRUE(windowManager.waitForStarted(10000)) << "openbox did not start (scripts/install.sh installs it)";
            ASSERT_TRUE(QTest::qWaitFor([&] { return other->windowManagerRuns(); }, 10000)) << "openbox did not take the display";
        }
        ASSERT_TRUE(QTest::qWaitFor([&] { return other->viewable(); }, 5000));
        app = std::make_unique<ControllerApp>(LaunchOptions::parse({u"velotte"_qs, u"--demo"_qs}), ControllerApp::Options{.tray = true, .reducedMotion = true, .mpris = false, .widget = false});
        app->start();
    }
    void TearDown() override
    {
        app.reset();
        if (windowManager.state() != QProcess::NotRunning) {
            windowManager.terminate();
            if (!windowManager.waitForFinished(5000))
                windowManager.kill();
        }
        windowManager.waitForFinished(5000);
        other.reset();
    }
    QQuickView *panel() { return app->shell().panel(); }
    ::testing::AssertionResult shownHoldingInput()
    {
        app->shell().showController();
        if (!QTest::qWaitFor([&] { return app->shell().grabsInput(); }, 5000))
            return ::testing::AssertionFailure() << "the panel never took the pointer and keyboard";
        return ::testing::AssertionSuccess();
    }
    // As under a window manager that never focuses the panel: another window keeps the focus.
    ::testing::AssertionResult shownWithoutFocus()
    {
        other->takeFocus(withWindowManager());
        if (!QTest::qWaitFor([&] { return other->focus() == other->window(); }, 5000))
            return ::testing::AssertionFailure() << "the other window did not get the focus";
        panel()->setFlag(Qt::WindowDoesNotAcceptFocus);
        const auto shown = shownHoldingInput();
        if (shown && other->focus() == xcb_window_t(panel()->winId()))
            return ::testing::AssertionFailure() << "the panel got the focus after all";
        return shown;
    }
};

TEST_P(Popup, AnotherWindowAClickOutsideOrEscapeHidesItAndFreesThePointer)
{
    ASSERT_TRUE(shownHoldingInput());
    ASSERT_TRUE(QTest::qWaitFor([&] { return panel()->isActive(); }, 5000)) << "the panel never had the focus";
    other->takeFocus(withWindowManager());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app->shell().isShown(); }, 5000)) << "another window took the focus";
    EXPECT_TRUE(other->canGrabPointer());

    // From here on the panel never gets the focus.
    ASSERT_TRUE(shownWithoutFocus());
    const QRect frame = panel()->geometry();
    ASSERT_FALSE(frame.contains(40, 860));
    // A click inside is the panel's own.
    PressCounter presses(panel());
    xdotool({u"mousemove"_qs, QString::number(frame.center().x()), QString::number(frame.center().y()), u"click"_qs, u"1"_qs});
    ASSERT_TRUE(QTest::qWaitFor([&] { return presses.count > 0; }, 5000));
    EXPECT_TRUE(app->shell().isShown());
    xdotool({u"mousemove"_qs, u"40"_qs, u"860"_qs, u"click"_qs, u"1"_qs});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app->shell().isShown(); }, 5000)) << "a click outside";
    EXPECT_TRUE(other->canGrabPointer()) << "the panel kept the pointer";
    // The same click reaching the tray icon does not open it again.
    Q_EMIT app->shell().tray()->activated(QSystemTrayIcon::Trigger);
    EXPECT_FALSE(app->shell().isShown());

    ASSERT_TRUE(shownWithoutFocus());
    xdotool({u"key"_qs, u"Escape"_qs});
    ASSERT_TRUE(QTest::qWaitFor([&] { return !app->shell().isShown(); }, 5000)) << "Escape";
    EXPECT_TRUE(other->canGrabPointer());
}

INSTANTIATE_TEST_SUITE_P(X11, Popup, ::testing::Values(false, true),
                         [](const ::testing::TestParamInfo<bool> &info) { return info.param ? "Openbox" : "NoWindowManager"; });

} // namespace

int main(int argc, char **argv) { return apptest::runTests(argc, argv); }
