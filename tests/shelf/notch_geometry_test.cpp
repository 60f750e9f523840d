#include "shelf/drop_view.h"
#include "shelf/notch_geometry.h"
#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;
using testing::notchedScreen;
using testing::plainScreen;

ScreenInfo withInset(double inset) {
    ScreenInfo screen = plainScreen(QRectF(0, 0, 1600, 1000));
    screen.safeAreaTop = inset;
    return screen;
}

TEST(NotchGeometry, WorkedExample) {
    const ScreenInfo screen = notchedScreen();
    EXPECT_EQ(notch::notchHeight(screen), 40);
    EXPECT_EQ(notch::notchBottom(screen), 960);
    EXPECT_EQ(notch::notchGap(screen), 200);
    EXPECT_EQ(notch::hotZoneWidth(screen), 270);
    EXPECT_EQ(notch::hotZone(screen), QRectF(665, 948, 270, 52));
    EXPECT_EQ(notch::expandedFrame(screen), QRectF(590, 610, 420, 350));
}

TEST(NotchGeometry, NotchHeightAndHotZoneWidthHaveFloors) {
    EXPECT_EQ(notch::notchHeight(withInset(0)), 25);
    EXPECT_EQ(notch::notchHeight(withInset(20)), 25);
    EXPECT_EQ(notch::notchHeight(withInset(38)), 38);

    // Without the areas beside the housing the zone is 250 wide on any screen.
    EXPECT_EQ(notch::hotZone(plainScreen(QRectF(0, 0, 1600, 1000))), QRectF(675, 963, 250, 37));
    EXPECT_EQ(notch::hotZoneWidth(plainScreen(QRectF(-3840, 0, 3840, 2160))), 250);
    ScreenInfo onlyLeft = notchedScreen();
    onlyLeft.auxiliaryTopRightArea.reset();
    EXPECT_EQ(notch::hotZoneWidth(onlyLeft), 250);

    // A narrow or overlapping gap counts as 120.
    ScreenInfo narrow = notchedScreen();
    narrow.auxiliaryTopRightArea = QRectF(760, 960, 840, 40);
    EXPECT_EQ(notch::hotZoneWidth(narrow), 190);
    narrow.auxiliaryTopRightArea = QRectF(650, 960, 950, 40);
    EXPECT_EQ(notch::hotZoneWidth(narrow), 190);
}

TEST(NotchGeometry, ContainmentIncludesMinimumEdgesOnly) {
    const QRectF zone = notch::hotZone(notchedScreen()); // x 665..935, y 948..1000
    EXPECT_TRUE(notch::contains(zone, {665, 948}));
    EXPECT_TRUE(notch::contains(zone, {934.999, 999.999}));
    EXPECT_FALSE(notch::contains(zone, {935, 960}));
    EXPECT_FALSE(notch::contains(zone, {800, 1000}));
    EXPECT_FALSE(notch::contains(zone, {664.999, 960}));
    EXPECT_FALSE(notch::contains(zone, {800, 947.999}));

    // The panel hangs from the notch's lower edge; the zone reaches 12 points into it.
    const QRectF panel = notch::expandedFrame(notchedScreen());
    EXPECT_EQ(panel.y() + panel.height(), notch::notchBottom(notchedScreen()));
    EXPECT_EQ(zone.intersected(panel).height(), 12);
}

TEST(ScreenChoice, PrefersTheFirstScreenWithACameraHousing) {
    FakePlatform platform;
    const ScreenInfo plain = plainScreen(QRectF(0, 0, 1920, 1080));
    ScreenInfo notchedRight = notchedScreen();
    notchedRight.frame = QRectF(1920, 0, 1600, 1000);
    ScreenInfo notchedLeft = notchedScreen();
    notchedLeft.frame = QRectF(-1600, 0, 1600, 1000);

    platform.screens.list = {plain, notchedRight};
    ShelfController shelf(platform.services);
    EXPECT_EQ(shelf.screen, notchedRight);

    platform.screens.change({notchedLeft, notchedRight});
    EXPECT_EQ(shelf.screen, notchedLeft);

    platform.screens.change({plain, plainScreen(QRectF(1920, 0, 1600, 1000))});
    EXPECT_EQ(shelf.screen, plain);

    platform.screens.change({});
    EXPECT_EQ(shelf.screen, std::nullopt);
}

TEST(Placement, ExpandedPanelFollowsTheScreenAndCollapsedStaysOff) {
    FakePlatform platform;
    ShelfController shelf(platform.services);
    EXPECT_FALSE(shelf.panel->isVisible());

    shelf.showShelf();
    ASSERT_TRUE(shelf.panel->isVisible());
    EXPECT_EQ(shelf.panel->frame(), QRectF(590, 610, 420, 350));
    EXPECT_EQ(shelf.panel->geometry(), QRect(590, 40, 420, 350)); // 40 below the top: the notch
    EXPECT_EQ(shelf.root->geometry(), QRect(0, 0, 420, 350));
    EXPECT_TRUE(shelf.content->isVisible());

    // A new screen arrangement while expanded moves the panel at once.
    platform.screens.change({plainScreen(QRectF(0, 0, 1280, 800))});
    EXPECT_EQ(shelf.panel->frame(), QRectF(430, 425, 420, 350));
    EXPECT_TRUE(shelf.panel->isVisible());

    // With no screen at all, layout neither shows nor hides the panel.
    platform.screens.change({});
    shelf.expanded = false;
    shelf.reposition();
    EXPECT_TRUE(shelf.panel->isVisible());

    platform.screens.change({notchedScreen()});
    EXPECT_FALSE(shelf.panel->isVisible());
}

} // namespace
} // namespace verrabel
