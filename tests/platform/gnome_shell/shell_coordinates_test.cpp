#include "platform/gnome_shell/shell_coordinates.h"

#include <gtest/gtest.h>

namespace verrabel {
namespace {

// The shell speaks in its logical pixels; Qt on Xwayland may see the same monitor at another
// scale (no Xft.dpi yet, or native scaling) and at another place (a monitor left of it).
TEST(ShellCoordinates, MapsTheEdgeAndThePointerAcrossScalesAndPlaces) {
    const ShellCoordinates same(QRect(0, 0, 1600, 1000), QRect(0, 0, 1600, 1000));
    EXPECT_EQ(same.toQt(QPointF(800, 0)), QPointF(800, 0));
    EXPECT_EQ(same.spanOf(QRectF(675, 0, 250, 2)), std::make_pair(675.0, 925.0));

    // Qt unscaled on a 150 % monitor: its points are the monitor's pixels.
    const ShellCoordinates scaled(QRect(0, 0, 1600, 1000), QRect(0, 0, 2400, 1500));
    EXPECT_EQ(scaled.toQt(QPointF(800, 10)), QPointF(1200, 15));
    const auto [left, right] = scaled.spanOf(QRectF(1075, 0, 250, 2));
    EXPECT_DOUBLE_EQ(left, 1075.0 * 2 / 3);
    EXPECT_DOUBLE_EQ(right, 1325.0 * 2 / 3);

    // The primary monitor right of another one, where X puts it at the same place.
    const ShellCoordinates beside(QRect(1920, 0, 1600, 1000), QRect(1920, 0, 1600, 1000));
    EXPECT_EQ(beside.toQt(QPointF(2720, 0)), QPointF(2720, 0));
    EXPECT_EQ(beside.spanOf(QRectF(2595, 0, 250, 2)), std::make_pair(2595.0, 2845.0));

    EXPECT_FALSE(ShellCoordinates(QRect(), QRect(0, 0, 1600, 1000)).valid());
}

} // namespace
} // namespace verrabel
