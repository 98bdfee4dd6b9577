#include "alldesktops.h"

#include <QGuiApplication>
#include <QWindow>

#ifdef VELOTTE_WITH_XCB
#include "xcbatom.h"

#include <QtGui/qguiapplication_platform.h>
#endif

namespace velotte {

#ifdef VELOTTE_WITH_XCB
namespace {
void tellWindowManager(xcb_connection_t *c, xcb_window_t root, xcb_window_t window, xcb_atom_t type, uint32_t a, uint32_t b, uint32_t d)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = type;
    event.data.data32[0] = a;
    event.data.data32[1] = b;
    event.data.data32[2] = d;
    event.data.data32[3] = 1; // from an application
    xcb_send_event(c, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY, reinterpret_cast<const char *>(&event));
}
} // namespace
#endif

void showOnAllDesktops(QWindow *window)
{
#ifdef VELOTTE_WITH_XCB
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !window)
        return;
    // Other platforms (offscreen) may answer the interface without a connection.
    xcb_connection_t *c = x11->connection();
    if (!c || qGuiApp->platformName() != u"xcb")
        return;
    xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
    if (!screen)
        return;
    const auto id = xcb_window_t(window->winId());
    const xcb_atom_t desktop = xcbAtom(c, "_NET_WM_DESKTOP");
    const xcb_atom_t state = xcbAtom(c, "_NET_WM_STATE");
    constexpr uint32_t everyDesktop = 0xFFFFFFFF;
    constexpr uint32_t add = 1;
    // Before mapping the property is read by the window manager; once
    // mapped, only a message to the root window changes it.
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, id, desktop, XCB_ATOM_CARDINAL, 32, 1, &everyDesktop);
    tellWindowManager(c, screen->root, id, desktop, everyDesktop, 0, 0);
    tellWindowManager(c, screen->root, id, state, add, xcbAtom(c, "_NET_WM_STATE_STICKY"), xcbAtom(c, "_NET_WM_STATE_SKIP_TASKBAR"));
    tellWindowManager(c, screen->root, id, state, add, xcbAtom(c, "_NET_WM_STATE_SKIP_PAGER"), 0);
    xcb_flush(c);
#else
    Q_UNUSED(window)
#endif
}

} // namespace velotte
