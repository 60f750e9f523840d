#include "app/app_delegate.h"
#include "shelf/controls.h"
#include "shelf/drop_view.h"
#include "shelf/notch_geometry.h"
#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <QApplication>
#include <QMenu>
#include <QTest>

namespace verrabel {
namespace {

using testing::notchedScreen;
using testing::plainScreen;

TEST(NotchGeometry, HotZoneAndPanelHangFromTheNotch) {
    // The worked example, then the floors: a notch at least 25 high and a gap of at least 120;
    // without both areas beside the housing the zone is 250 wide on any screen.
    // The notched screen's zone and panel are checked through the shelf's hover steps.
    const ScreenInfo notched = notchedScreen();
    ScreenInfo inset = plainScreen(QRectF(0, 0, 1600, 1000));
    EXPECT_EQ(notch::hotZone(inset, false), QRectF(675, 963, 250, 37));
    inset.safeAreaTop = 20;
    EXPECT_EQ(notch::notchHeight(inset), 25);
    ScreenInfo odd = notched;
    odd.auxiliaryTopRightArea = QRectF(650, 960, 950, 40); // overlapping: a gap below 0
    EXPECT_EQ(notch::hotZoneWidth(odd), 190);
    odd.auxiliaryTopRightArea.reset();
    EXPECT_EQ(notch::hotZoneWidth(odd), 250);

    // Minimum edges inside, maximum edges out; the zone reaches 12 points into the panel.
    const QRectF zone = notch::hotZone(notched, false);
    EXPECT_TRUE(notch::contains(zone, {665, 948}) && notch::contains(zone, {934.999, 999.999}));
    EXPECT_FALSE(notch::contains(zone, {935, 960}) || notch::contains(zone, {800, 1000}));
}

// On the design's notched screen: hot zone x 665..935, y 948..1000; panel x 590..1010,
// y 610..960; keep-open area x 578..1022, y 598..972.
constexpr QPointF kNotch{800, 990};
constexpr QPointF kOnPanel{800, 800};
constexpr QPointF kFarAway{100, 100};
constexpr double kTick = 1.0 / 60;

class Shelf : public ::testing::Test {
protected:
    void SetUp() override { platform.finishScans(); }
    std::size_t scansStarted() const { return platform.queue("Verrabel.scan").items.size(); }
    /// One timer step, `seconds` after the previous one, with the pointer at `pointer`.
    void step(std::optional<QPointF> pointer, double seconds = kTick) {
        platform.pointer.point = pointer;
        platform.clock.advance(seconds);
        platform.tick();
    }
    /// Steps there for about `seconds`; returns the scans started meanwhile.
    std::size_t stay(QPointF pointer, double seconds) {
        std::size_t started = 0;
        for (double elapsed = 0; elapsed < seconds; elapsed += kTick) {
            step(pointer);
            started += scansStarted();
            platform.finishScans();
        }
        return started;
    }
    void open() {
        step(kNotch);
        platform.finishScans();
        ASSERT_TRUE(shelf.expanded);
    }
    /// The clock arrives at exactly 0 with this step, so that the strict comparisons can be
    /// tested at their very boundary.
    void stepAtTimeZero(QPointF pointer) {
        platform.clock.time = -kTick;
        step(pointer);
    }

    testing::FakePlatform platform;
    ShelfController shelf{platform.services};
};

TEST_F(Shelf, StartsCollapsedWithTheControlsAtTheirFramesAndTheCornersCutWithoutACompositor) {
    EXPECT_FALSE(shelf.panel->isVisible());
    EXPECT_TRUE(shelf.hoverActivity);
    // The design's frames have y up from the bottom of the 350-high content.
    const QList<QRect> frames{{23, 23, 26, 28},   {61, 16, 240, 23}, {61, 41, 290, 16},
                              {22, 66, 376, 1},   {22, 302, 376, 1}, {14, 71, 392, 230},
                              {22, 314, 278, 18}, {320, 309, 78, 28}};
    const auto views = shelf.content->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
    QList<QRect> built;
    std::transform(views.begin(), views.end(), std::back_inserter(built),
                   std::mem_fn(&QWidget::geometry));
    EXPECT_EQ(built, frames);
    // The open button opens the Desktop, when there is one.
    QTest::mouseClick(views.constLast(), Qt::LeftButton);
    EXPECT_EQ(platform.workspace.opened, QList{QUrl::fromLocalFile(platform.folders.desktopPath)});
    testing::FakePlatform without;
    without.folders.desktopPath.clear();
    ShelfController(without.services).openDesktop();
    EXPECT_TRUE(without.workspace.opened.isEmpty());

    platform.compositor.active = false;
    shelf.showShelf();
    const QRegion mask = shelf.panel->mask();
    EXPECT_FALSE(mask.contains(QPoint(1, 1)) || mask.contains(QPoint(418, 348)));
    EXPECT_TRUE(mask.contains(QPoint(22, 1)) && mask.contains(QPoint(210, 175)));
    platform.compositor.active = true;
    shelf.panel->hide();
    shelf.panel->show();
    EXPECT_TRUE(shelf.panel->mask().isEmpty());
}

TEST_F(Shelf, TheRimFollowsAPaletteChange) {
    // The highlighted rim's accent and width are checked where a drag highlights it.
    const QPalette light = QApplication::palette();
    QPalette dark(QColor(40, 40, 40));
    dark.setColor(QPalette::WindowText, QColor(235, 235, 235));
    QApplication::setPalette(dark);
    QApplication::processEvents(); // Qt delivers the change as a posted event
    EXPECT_EQ(shelf.root->rimColor().rgb(), QColor(235, 235, 235).rgb());
    QApplication::setPalette(light);
}

TEST_F(Shelf, TheFirstNotchedScreenIsChosenAndThePanelFollowsIt) {
    const ScreenInfo plain = plainScreen(QRectF(0, 0, 1920, 1080));
    ScreenInfo right = notchedScreen();
    right.frame.moveLeft(1920);
    ScreenInfo left = notchedScreen();
    left.frame.moveLeft(-1600);
    platform.screens.change({plain, right});
    EXPECT_EQ(shelf.screen, right);
    platform.screens.change({left, right});
    EXPECT_EQ(shelf.screen, left);
    ScreenInfo barred = plainScreen(QRectF(1920, 0, 1600, 1000));
    barred.safeAreaTop = 32; // a desktop's bar, which is no camera housing
    barred.topBandIsBar = true;
    platform.screens.change({plain, barred});
    EXPECT_EQ(shelf.screen, plain);
    // A new arrangement while expanded moves the panel at once.
    shelf.showShelf();
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

TEST_F(Shelf, EachScreensTopCentreBringsTheShelfDownOnThatScreen) {
    const ScreenInfo second = plainScreen(QRectF(1600, 0, 1920, 1080));
    platform.screens.change({notchedScreen(), second});
    EXPECT_EQ(platform.pointer.zones,
              (QList{QRectF(665, 948, 270, 52), QRectF(2435, 1043, 250, 37)}));
    // The second screen's top centre: the panel hangs there, and stays by that screen's rules.
    step(QPointF(2560, 1070));
    EXPECT_TRUE(shelf.expanded);
    EXPECT_EQ(shelf.panel->frame(), QRectF(2350, 705, 420, 350));
    stay(QPointF(2560, 800), 0.5);
    EXPECT_TRUE(shelf.expanded);
    // The screens changing meanwhile (the first one's bar came) leaves it where it is.
    platform.screens.change({notchedScreen(), second});
    EXPECT_EQ(shelf.panel->frame(), QRectF(2350, 705, 420, 350));
    stay(kFarAway, 0.5);
    EXPECT_FALSE(shelf.expanded);
    // The first still works, and a fullscreen window there leaves the second's edge alone.
    step(kNotch);
    EXPECT_EQ(shelf.panel->frame(), QRectF(590, 610, 420, 350));
    stay(kFarAway, 0.5);
    platform.fullscreen.set(QRectF(0, 0, 1600, 1000));
    EXPECT_EQ(platform.pointer.zones, QList{QRectF(2435, 1043, 250, 37)});
    step(kNotch);
    EXPECT_FALSE(shelf.expanded);
    platform.fullscreen.set(std::nullopt);
    // Shown from the menu, on the screen the pointer is on.
    platform.pointer.point = QPointF(3000, 200);
    shelf.showShelf();
    EXPECT_EQ(shelf.panel->frame(), QRectF(2350, 705, 420, 350));
}

TEST_F(Shelf, OpensAtTheNotchAndClosesWhenThePointerIsAway) {
    // The exact delay is checked as each hold ends; coming back in time, as a visit ends the
    // allowance of showShelf.
    const QRectF hotZone(665, 948, 270, 52);
    step(kFarAway);
    EXPECT_FALSE(shelf.expanded);
    step(kNotch);
    EXPECT_EQ(shelf.panel->geometry(), QRect(590, 40, 420, 350)); // 40 below the top: the notch
    EXPECT_EQ(scansStarted(), 1U);
    EXPECT_EQ(platform.pointer.zones, (QList{hotZone, QRectF(578, 598, 444, 374)}));
    platform.finishScans();
    step(kFarAway);
    step(kFarAway, 0.2);
    EXPECT_FALSE(shelf.panel->isVisible());
    EXPECT_EQ(platform.pointer.zones, QList{hotZone});

    // A pointer the display cannot see is away.
    open();
    step(std::nullopt);
    step(std::nullopt, 0.2);
    EXPECT_FALSE(shelf.expanded);
}

TEST_F(Shelf, StaysOpenOverThePanelAndWithinTwelvePointsOfIt) {
    // The areas themselves are checked as the pointer's watched zones.
    open();
    for (const QPointF point : {QPointF(578, 800), QPointF(1021.9, 800), QPointF(800, 598)}) {
        stay(point, 0.5);
        EXPECT_FALSE(shelf.outsideSince) << point.x() << "," << point.y();
    }
    step(QPointF(577.9, 800));
    EXPECT_TRUE(shelf.outsideSince);
}

TEST_F(Shelf, UnderADesktopBarOnlyTheTopEdgeOpensAndTheBarStaysTheBars) {
    // GNOME's bar, 32 high, with its clock at the top centre.
    ScreenInfo bar = plainScreen(QRectF(0, 0, 1600, 1000));
    bar.safeAreaTop = 32;
    bar.topBandIsBar = true;
    platform.screens.change({bar});
    const QPointF clock(800, 984);
    const QPointF edge(800, 999.5); // pushed against the top edge
    step(clock);
    EXPECT_FALSE(shelf.expanded);
    step(edge);
    EXPECT_EQ(shelf.panel->geometry(), QRect(590, 32, 420, 350));
    // Where the pointer matters: the strip along the edge, and the panel's margin below the bar.
    EXPECT_EQ(platform.pointer.zones,
              (QList{QRectF(675, 998, 250, 2), QRectF(578, 606, 444, 362)}));
    // Down from the edge across the bar at a hand's pace, seen there or not: it stays.
    for (const std::optional<QPointF> crossing : {std::optional(clock), std::optional<QPointF>()}) {
        step(edge);
        step(crossing, 0.2);
        step(crossing, 0.25);
        EXPECT_FALSE(shelf.outsideSince); // 0.45 s on the way: not away yet
        step(kOnPanel);
        EXPECT_FALSE(shelf.outsideSince);
    }
    // From the shelf to the clock, the bar is the bar's: it goes.
    step(clock);
    step(clock, 0.2);
    EXPECT_FALSE(shelf.expanded);
    // And so it does when the pointer lingers on the way in (away after half a second), or
    // leaves it to the side.
    step(edge);
    step(clock, 0.5);
    step(clock, 0.1);
    EXPECT_TRUE(shelf.expanded);
    step(clock, 0.2);
    EXPECT_FALSE(shelf.expanded);
    step(edge);
    step(QPointF(500, 990));
    step(QPointF(500, 990), 0.2);
    EXPECT_FALSE(shelf.expanded);
}

TEST_F(Shelf, WhereThePointerIsSeenOnlyByTakingItsClicksOnlyTheTopEdgeOpens) {
    // An X client in a Wayland session without a bar at the top (KWin, sway).
    platform.pointer.onlyWhereTaken = true;
    platform.screens.change({plainScreen(QRectF(0, 0, 1600, 1000))});
    step(QPointF(800, 980)); // 20 below the edge: the window there keeps its clicks
    EXPECT_FALSE(shelf.expanded);
    EXPECT_EQ(platform.pointer.zones, QList{QRectF(675, 998, 250, 2)});
    step(QPointF(800, 999));
    EXPECT_EQ(shelf.panel->geometry(), QRect(590, 25, 420, 350));
    step(std::nullopt, 0.3); // unseen on the way down
    step(kOnPanel);
    EXPECT_TRUE(shelf.expanded);
}

TEST_F(Shelf, AFullscreenWindowOnItsScreenKeepsTheEdgeClosedAndItsClicks) {
    const QRectF hotZone(665, 948, 270, 52);
    const testing::FakeTimer& timer = *platform.timers.last;
    platform.fullscreen.set(QRectF(0, 0, 1600, 1000));
    EXPECT_TRUE(platform.pointer.zones.isEmpty()); // nothing of ours over it at the edge
    stay(kNotch, 1.0);
    EXPECT_FALSE(shelf.expanded);
    // The tray's way still shows it, and the edge keeps it open as ever.
    shelf.showShelf();
    stay(kNotch, 3.0);
    EXPECT_TRUE(shelf.expanded);
    step(kFarAway);
    step(kFarAway, 0.2);
    EXPECT_FALSE(shelf.expanded);
    EXPECT_TRUE(platform.pointer.zones.isEmpty());
    // Out of fullscreen, or fullscreen on another screen: the edge works again at once.
    for (const QRectF elsewhere : {QRectF(), QRectF(1600, 0, 1600, 1000)}) {
        const int resumes = timer.resumes;
        platform.fullscreen.set(elsewhere.isNull() ? std::nullopt : std::optional(elsewhere));
        EXPECT_GT(timer.resumes, resumes); // a pointer resting at the edge counts from now
        EXPECT_EQ(platform.pointer.zones, QList{hotZone});
        step(kNotch);
        EXPECT_TRUE(shelf.expanded);
        platform.finishScans();
        step(kFarAway);
        step(kFarAway, 0.2);
    }
}

TEST_F(Shelf, HoldsKeepItOpenAndOnlyExportingStopsRescans) {
    const struct {
        const char* name;
        std::function<void(ShelfController&, bool)> set;
        bool rescans;
    } holds[] = {
        {"exporting", [](ShelfController& s, bool on) { s.exporting = on; }, false},
        {"receiving", [](ShelfController& s, bool on) { s.receiving = on; }, true},
        {"busy", [](ShelfController& s, bool on) { s.busy = on ? 2 : 0; }, true},
    };
    for (const auto& [name, set, rescans] : holds) {
        SCOPED_TRACE(name);
        open();
        set(shelf, true);
        EXPECT_EQ(stay(kFarAway, 5.0) > 0, rescans);
        EXPECT_TRUE(shelf.expanded);
        // Counted from the first step without the hold.
        set(shelf, false);
        stepAtTimeZero(kFarAway);
        step(kFarAway, 0.15);
        EXPECT_TRUE(shelf.expanded);
        step(kFarAway, 1e-9);
        EXPECT_FALSE(shelf.expanded);
    }
}

TEST_F(Shelf, ShowShelfGrantsTwoSecondsThatAVisitTakesAway) {
    stepAtTimeZero(kFarAway);
    shelf.showShelf();
    stay(kFarAway, 2.1); // a collapse is never undone while the pointer is away
    EXPECT_TRUE(shelf.expanded);
    platform.clock.time = 2.15;
    step(kFarAway, 0);
    EXPECT_TRUE(shelf.expanded);
    step(kFarAway, 1e-9);
    EXPECT_FALSE(shelf.expanded);

    shelf.showShelf();
    step(kOnPanel); // one step over the shelf cancels the allowance
    step(kFarAway);
    step(kFarAway, 0.15 + 1e-6);
    EXPECT_FALSE(shelf.expanded);
}

TEST_F(Shelf, RescansEveryTwoSecondsWhileOpenAndTheTimerNapsOnlyWhileCollapsed) {
    const testing::FakeTimer& timer = *platform.timers.last;
    step(kFarAway);
    EXPECT_EQ(timer.idleSteps, 1);
    EXPECT_EQ(timer.idlePoint, kFarAway);
    stepAtTimeZero(kNotch);
    EXPECT_GT(timer.resumes, 0); // expanding wakes a napping timer
    platform.finishScans();
    step(kOnPanel, 2.0);
    EXPECT_EQ(shelf.lastRefresh, 0.0); // 2.0 s exactly is not more
    step(kOnPanel, 1e-9);
    EXPECT_EQ(shelf.lastRefresh, platform.clock.time);
    platform.finishScans();
    EXPECT_EQ(timer.idleSteps, 1);

    // Opening an open shelf neither lays out nor rescans.
    shelf.panel->setFrame(QRectF(0, 0, 10, 10)); // a layout() would put it back
    shelf.showShelf();
    EXPECT_EQ(shelf.outsideSince, platform.clock.time + 2.0);
    shelf.expand();
    EXPECT_FALSE(shelf.outsideSince);
    EXPECT_EQ(shelf.panel->frame(), QRectF(0, 0, 10, 10));
    EXPECT_EQ(scansStarted(), 0U);

    const int resumes = timer.resumes;
    platform.screens.change({testing::notchedScreen()});
    EXPECT_GT(timer.resumes, resumes); // the zone may have moved under the pointer
    platform.screens.change({});       // without a screen, nothing moves
    stay(kFarAway, 1.0);
    EXPECT_TRUE(shelf.expanded);
}

TEST(AppDelegate, ItsTrayMenuShowsTheShelfAndTheDesktop) {
    // The welcome, the separator and Ctrl+Q are checked in a real session with a tray host.
    testing::FakePlatform platform;
    platform.settings.values.insert("didWelcome", true);
    AppDelegate app(platform.services);
    app.applicationDidFinishLaunching();
    EXPECT_FALSE(app.shelf->panel->isVisible());
    const auto& item = dynamic_cast<const testing::FakeStatusItem&>(*app.status);
    EXPECT_EQ(item.description, "Verrabel 桌面文件");
    // The icon draws something: a tray shows no item for an empty one (without Qt's SVG
    // plugin, say).
    const QImage icon = item.image.pixmap(22, 22).toImage();
    bool drawn = false;
    for (int y = 0; y < icon.height() && !drawn; ++y) {
        for (int x = 0; x < icon.width() && !drawn; ++x) {
            drawn = qAlpha(icon.pixel(x, y)) > 0;
        }
    }
    EXPECT_TRUE(drawn);
    item.menu()->actions()[0]->trigger();
    EXPECT_TRUE(app.shelf->panel->isVisible());
    item.menu()->actions()[1]->trigger();
    EXPECT_EQ(platform.workspace.opened, QList{QUrl::fromLocalFile(platform.folders.desktopPath)});
}

} // namespace
} // namespace verrabel
