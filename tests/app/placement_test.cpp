#include "app/controllerplacement.h"

#include <gtest/gtest.h>

using velotte::ControllerPlacement::frame;

TEST(ControllerPlacement, HangsCentredUnderTheIconOnItsOwnScreen)
{
    // A tray on a secondary screen to the right of a 1920-wide primary.
    const QRectF screen(1920, 0, 2560, 1400);
    const QRectF icon(3000, 2, 24, 24);
    const QRectF f = frame({340, 620}, icon, screen);
    EXPECT_EQ(f, QRectF(3012 - 170, 34, 340, 620));
    EXPECT_TRUE(screen.contains(f));
}

TEST(ControllerPlacement, PushedBackInsideNearTheEdges)
{
    const QRectF screen(0, 0, 1280, 800);
    EXPECT_EQ(frame({340, 620}, QRectF(1260, 2, 20, 20), screen).right(), 1272);
    EXPECT_EQ(frame({340, 620}, QRectF(0, 2, 20, 20), screen).left(), 8);
}

TEST(ControllerPlacement, LargerThanTheScreenIsClamped)
{
    const QRectF screen(0, 24, 1024, 600);
    const QRectF f = frame({2000, 5000}, QRectF(500, 0, 20, 20), screen);
    EXPECT_EQ(f, QRectF(8, 32, 1008, 584));
    EXPECT_EQ(frame({0, -5}, QRectF(500, 0, 20, 20), screen).size(), QSizeF(1, 1));
}

TEST(ControllerPlacement, BottomTrayOpensUpwards)
{
    const QRectF screen(0, 0, 1920, 1040); // the panel at the bottom takes 40
    const QRectF icon(1800, 1045, 30, 30);
    const QRectF f = frame({340, 620}, icon, screen);
    EXPECT_EQ(f.bottom(), 1032); // above the icon, kept inside the available area
    EXPECT_EQ(f.height(), 620);
    EXPECT_LE(f.right(), 1912);
    const QRectF high(1800, 700, 30, 30); // an icon halfway down still hangs below when it fits
    EXPECT_EQ(frame({340, 200}, high, screen).top(), 738);
}
