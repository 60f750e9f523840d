#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <gtest/gtest.h>

namespace verrabel {
namespace {

// On the design's notched screen: hot zone x 665..935, y 948..1000; panel x 590..1010,
// y 610..960; keep-open area x 578..1022, y 598..972.
constexpr QPointF kNotch{800, 990};
constexpr QPointF kOnPanel{800, 800};
constexpr QPointF kFarAway{100, 100};
constexpr double kTick = 1.0 / 60;

class HoverLoop : public ::testing::Test {
protected:
    void SetUp() override { platform.finishScans(); }
    std::size_t scansStarted() const { return platform.queues.queue("Verrabel.scan").items.size(); }
    /// One timer step, `seconds` after the previous one, with the pointer at `pointer`.
    void step(std::optional<QPointF> pointer, double seconds = kTick) {
        platform.pointer.point = pointer;
        platform.clock.advance(seconds);
        platform.timers.last->fire();
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

TEST_F(HoverLoop, OpensAtTheNotchAndClosesAtTheFirstStepMoreThanFifteenHundredthsAway) {
    const QRectF hotZone(665, 948, 270, 52);
    step(kFarAway);
    EXPECT_FALSE(shelf.expanded);
    EXPECT_EQ(platform.pointer.zones, QList{hotZone});
    step(kNotch);
    EXPECT_TRUE(shelf.panel->isVisible());
    EXPECT_EQ(shelf.panel->geometry(), QRect(590, 40, 420, 350));
    EXPECT_EQ(scansStarted(), 1U);
    EXPECT_EQ(platform.pointer.zones, (QList{hotZone, QRectF(578, 598, 444, 374)}));
    platform.finishScans();

    stepAtTimeZero(kFarAway);
    EXPECT_EQ(shelf.outsideSince, 0.0);
    step(kFarAway, 0.15); // not more than 0.15 s yet
    EXPECT_TRUE(shelf.expanded);
    step(kFarAway, 1e-9);
    EXPECT_FALSE(shelf.panel->isVisible());
    EXPECT_EQ(platform.pointer.zones, QList{hotZone});

    // Coming back in time leaves it open; a pointer the display cannot see is away.
    open();
    step(kFarAway);
    step(kOnPanel, 0.1);
    step(kFarAway, 0.1);
    step(kFarAway, 0.1);
    EXPECT_TRUE(shelf.expanded);
    step(std::nullopt);
    step(std::nullopt, 0.2);
    EXPECT_FALSE(shelf.expanded);
}

TEST_F(HoverLoop, StaysOpenOverThePanelAndWithinTwelvePointsOfIt) {
    open();
    for (const QPointF point : {kOnPanel, QPointF(578, 800), QPointF(1021.9, 800),
                                QPointF(800, 598), QPointF(578, 598), QPointF(800, 955)}) {
        stay(point, 0.5);
        EXPECT_FALSE(shelf.outsideSince) << point.x() << "," << point.y();
    }
    // From the notch straight down into the panel: never a step outside both areas.
    for (double y = 999; y > 700; y -= 7) {
        step(QPointF(800, y));
        ASSERT_FALSE(shelf.outsideSince) << y;
    }
    step(QPointF(577.9, 800));
    EXPECT_TRUE(shelf.outsideSince);
}

TEST_F(HoverLoop, HoldsKeepItOpenAndOnlyExportingStopsRescans) {
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

TEST_F(HoverLoop, ShowShelfGrantsTwoSecondsThatAVisitTakesAway) {
    stepAtTimeZero(kFarAway);
    shelf.showShelf();
    EXPECT_EQ(shelf.outsideSince, 2.0);
    EXPECT_EQ(scansStarted(), 1U);
    platform.finishScans();
    while (platform.clock.time + kTick < 2.15) {
        step(kFarAway);
        ASSERT_TRUE(shelf.expanded) << platform.clock.time;
    }
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

TEST_F(HoverLoop, OpeningAnOpenShelfNeitherLaysOutNorRescans) {
    open();
    step(kFarAway);
    shelf.panel->setFrame(QRectF(0, 0, 10, 10)); // a layout() would put it back
    shelf.showShelf();
    EXPECT_EQ(shelf.outsideSince, platform.clock.time + 2.0);
    shelf.expand();
    EXPECT_FALSE(shelf.outsideSince);
    EXPECT_EQ(shelf.panel->frame(), QRectF(0, 0, 10, 10));
    EXPECT_EQ(scansStarted(), 0U);
}

TEST_F(HoverLoop, RescansEveryTwoSecondsWhileOpenAndNothingWithoutAScreen) {
    stepAtTimeZero(kNotch);
    platform.finishScans();
    step(kOnPanel, 2.0);
    EXPECT_EQ(shelf.lastRefresh, 0.0); // 2.0 s exactly is not more
    step(kOnPanel, 1e-9);
    EXPECT_EQ(shelf.lastRefresh, platform.clock.time);

    platform.finishScans();
    platform.screens.change({});
    stay(kFarAway, 1.0);
    EXPECT_TRUE(shelf.panel->isVisible());
}

TEST_F(HoverLoop, TheTimerMayNapOnlyWhileCollapsed) {
    const testing::FakeTimer& timer = *platform.timers.last;
    step(kFarAway);
    EXPECT_EQ(timer.idleSteps, 1);
    EXPECT_EQ(timer.idlePoint, kFarAway);
    open();
    const int resumes = timer.resumes;
    EXPECT_GT(resumes, 0); // expanding wakes a napping timer
    step(kOnPanel);
    EXPECT_EQ(timer.idleSteps, 1);
    platform.screens.change({testing::notchedScreen()});
    EXPECT_GT(timer.resumes, resumes); // the zone may have moved under the pointer
}

} // namespace
} // namespace verrabel
