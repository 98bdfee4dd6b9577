#pragma once

class QWindow;

namespace velotte {

// Asks an X11 window manager to show the window on every virtual desktop
// and to keep it out of the task bar and pager. Does nothing elsewhere.
void showOnAllDesktops(QWindow *window);

} // namespace velotte
