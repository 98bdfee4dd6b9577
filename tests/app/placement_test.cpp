#include "app/controllerplacement.h"

#include <gtest/gtest.h>

using velotte::ControllerPlacement::frame;

TEST(ControllerPlacement, UnderTheIconInsideTheScreenOrAboveABottomIcon)
{
    struct Case {
        QSizeF size;
        QRectF icon, screen, expected;
    };
    const QRectF plain(0, 0, 1280, 800), bottomPanel(0, 0, 1920, 1040); // the panel at the bottom takes 40
    const std::vector<Case> cases{
        // A tray on a secondary screen to the right of a 1920-wide primary: centred under the icon.
        {{340, 620}, {3000, 2, 24, 24}, {1920, 0, 2560, 1400}, {3012 - 170, 34, 340, 620}},
        // Near an edge: pushed back inside, 8 from it.
        {{340, 620}, {1260, 2, 20, 20}, plain, {932, 30, 340, 620}},
        {{340, 620}, {0, 2, 20, 20}, plain, {8, 30, 340, 620}},
        // Larger than the screen: clamped to it, and never smaller than a pixel.
        {{2000, 5000}, {500, 0, 20, 20}, {0, 24, 1024, 600}, {8, 32, 1008, 584}},
        {{0, -5}, {500, 0, 20, 20}, {0, 24, 1024, 600}, {509.5, 32, 1, 1}},
        // Below the available area, or low in it with more room above: upwards.
        {{340, 620}, {1800, 1045, 30, 30}, bottomPanel, {1572, 412, 340, 620}},
        {{340, 620}, {1000, 900, 30, 30}, bottomPanel, {845, 272, 340, 620}},
        // Halfway down, it still hangs below when it fits.
        {{340, 200}, {1800, 700, 30, 30}, bottomPanel, {1572, 738, 340, 200}},
    };
    for (const Case &c : cases)
        EXPECT_EQ(frame(c.size, c.icon, c.screen), c.expected) << c.icon.x() << "," << c.icon.y();
}
