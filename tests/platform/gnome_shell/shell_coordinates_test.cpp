#include "platform/gnome_shell/shell_coordinates.h"

#include <gtest/gtest.h>

namespace verrabel {
namespace {

// The shell speaks in its logical pixels; Qt on Xwayland may see the same monitor at another
// scale (no Xft.dpi yet, or native scaling) and at another place (a monitor left of it).
TEST(ShellCoordinates, MapsTheEdgeAndThePointerAcrossScalesAndPlaces) {
    const ShellCoordinates same(QRect(0, 0, 1600, 1000), QRect(0, 0, 1600, 1000));
    EXPECT_EQ(same.toQt(QPointF(800, 0)), QPointF(800, 0));
    EXPECT_EQ(same.toShell(QRectF(675, 0, 250, 2)), QRectF(675, 0, 250, 2));

    // Qt unscaled on a 150 % monitor: its points are the monitor's pixels.
    const ShellCoordinates scaled(QRect(0, 0, 1600, 1000), QRect(0, 0, 2400, 1500));
    EXPECT_EQ(scaled.toQt(QPointF(800, 10)), QPointF(1200, 15));
    const QRectF edge = scaled.toShell(QRectF(1075, 0, 250, 2));
    EXPECT_DOUBLE_EQ(edge.left(), 1075.0 * 2 / 3);
    EXPECT_DOUBLE_EQ(edge.right(), 1325.0 * 2 / 3);
    // Another monitor at the same scale, below it: the same mapping holds.
    EXPECT_EQ(scaled.toQt(QRect(0, 1000, 1280, 800)), QRectF(0, 1500, 1920, 1200));

    // The primary monitor right of another one, where X puts it at the same place.
    const ShellCoordinates beside(QRect(1920, 0, 1600, 1000), QRect(1920, 0, 1600, 1000));
    EXPECT_EQ(beside.toQt(QPointF(2720, 0)), QPointF(2720, 0));
    EXPECT_EQ(beside.toShell(QRectF(2595, 0, 250, 2)), QRectF(2595, 0, 250, 2));

    EXPECT_FALSE(ShellCoordinates(QRect(), QRect(0, 0, 1600, 1000)).valid());
}

} // namespace
} // namespace verrabel
