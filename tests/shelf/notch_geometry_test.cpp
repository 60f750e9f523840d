#include "shelf/drop_view.h"
#include "shelf/notch_geometry.h"
#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::notchedScreen;
using testing::plainScreen;

TEST(NotchGeometry, HotZoneAndPanelHangFromTheNotch) {
    // The worked example, then the floors: a notch at least 25 high and a gap of at least 120;
    // without both areas beside the housing the zone is 250 wide on any screen.
    const ScreenInfo notched = notchedScreen();
    EXPECT_EQ(notch::hotZone(notched), QRectF(665, 948, 270, 52));
    EXPECT_EQ(notch::expandedFrame(notched), QRectF(590, 610, 420, 350));
    ScreenInfo inset = plainScreen(QRectF(0, 0, 1600, 1000));
    EXPECT_EQ(notch::hotZone(inset), QRectF(675, 963, 250, 37));
    inset.safeAreaTop = 20;
    EXPECT_EQ(notch::notchHeight(inset), 25);
    inset.safeAreaTop = 38;
    EXPECT_EQ(notch::notchHeight(inset), 38);
    EXPECT_EQ(notch::hotZoneWidth(plainScreen(QRectF(-3840, 0, 3840, 2160))), 250);
    ScreenInfo odd = notched;
    odd.auxiliaryTopRightArea = QRectF(650, 960, 950, 40); // overlapping: a gap below 0
    EXPECT_EQ(notch::hotZoneWidth(odd), 190);
    odd.auxiliaryTopRightArea.reset();
    EXPECT_EQ(notch::hotZoneWidth(odd), 250);

    // Minimum edges inside, maximum edges out; the zone reaches 12 points into the panel.
    const QRectF zone = notch::hotZone(notched);
    EXPECT_TRUE(notch::contains(zone, {665, 948}) && notch::contains(zone, {934.999, 999.999}));
    EXPECT_FALSE(notch::contains(zone, {935, 960}) || notch::contains(zone, {800, 1000}));
    EXPECT_EQ(zone.intersected(notch::expandedFrame(notched)).height(), 12);
}

TEST(Placement, TheFirstNotchedScreenIsChosenAndThePanelFollowsIt) {
    testing::FakePlatform platform;
    const ScreenInfo plain = plainScreen(QRectF(0, 0, 1920, 1080));
    ScreenInfo right = notchedScreen();
    right.frame.moveLeft(1920);
    ScreenInfo left = notchedScreen();
    left.frame.moveLeft(-1600);
    platform.screens.list = {plain, right};
    ShelfController shelf(platform.services);
    EXPECT_EQ(shelf.screen, right);
    platform.screens.change({left, right});
    EXPECT_EQ(shelf.screen, left);
    platform.screens.change({plain, plainScreen(QRectF(1920, 0, 1600, 1000))});
    EXPECT_EQ(shelf.screen, plain);
    EXPECT_FALSE(shelf.panel->isVisible());

    platform.screens.change({notchedScreen()});
    shelf.showShelf();
    EXPECT_EQ(shelf.panel->geometry(), QRect(590, 40, 420, 350)); // 40 below the top: the notch
    EXPECT_EQ(shelf.root->geometry(), QRect(0, 0, 420, 350));
    // A new arrangement while expanded moves the panel at once.
    platform.screens.change({plainScreen(QRectF(0, 0, 1280, 800))});
    EXPECT_EQ(shelf.panel->frame(), QRectF(430, 425, 420, 350));
    // With no screen at all, layout neither shows nor hides the panel.
    platform.screens.change({});
    EXPECT_EQ(shelf.screen, std::nullopt);
    shelf.expanded = false;
    shelf.reposition();
    EXPECT_TRUE(shelf.panel->isVisible());
    platform.screens.change({notchedScreen()});
    EXPECT_FALSE(shelf.panel->isVisible());
}

} // namespace
} // namespace verrabel
