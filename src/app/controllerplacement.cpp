#include "controllerplacement.h"

#include <algorithm>

namespace velotte::ControllerPlacement {

QRectF frame(QSizeF size, const QRectF &anchor, const QRectF &available)
{
    constexpr double inset = 8;
    constexpr double gap = 8;
    const QRectF area = available.adjusted(inset, inset, -inset, -inset);
    const double width = std::clamp(size.width(), 1.0, std::max(1.0, area.width()));
    const double height = std::clamp(size.height(), 1.0, std::max(1.0, area.height()));

    double x = anchor.center().x() - width / 2;
    double y = anchor.bottom() + gap;
    const double roomBelow = area.bottom() - (anchor.bottom() + gap);
    const double roomAbove = (anchor.top() - gap) - area.top();
    if (height > roomBelow && roomAbove > roomBelow)
        y = anchor.top() - gap - height; // a bottom panel: open upwards

    x = std::clamp(x, area.left(), area.right() - width);
    y = std::clamp(y, area.top(), area.bottom() - height);
    return {x, y, width, height};
}

} // namespace velotte::ControllerPlacement
