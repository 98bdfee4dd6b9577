#pragma once

#include <QRectF>
#include <QSizeF>

namespace velotte::ControllerPlacement {

// Where the panel goes: centred under the tray icon (`anchor`), 8 points
// below it, inside the screen's available area inset by 8 points. A tray at
// the bottom of the screen gets the panel above the icon instead. A panel
// larger than the area is clamped to it.
QRectF frame(QSizeF size, const QRectF &anchor, const QRectF &available);

} // namespace velotte::ControllerPlacement
