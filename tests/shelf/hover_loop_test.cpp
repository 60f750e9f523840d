#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;
using testing::ManualQueue;

// On the design's notched screen: hot zone x 665..935, y 948..1000; panel x 590..1010,
// y 610..960; keep-open area x 578..1022, y 598..972.
constexpr QPointF kNotch{800, 990};
constexpr QPointF kOnPanel{800, 800};
constexpr QPointF kFarAway{100, 100};
constexpr double kTick = 1.0 / 60;

class HoverLoop : public ::testing::Test {
protected:
    void SetUp() override {
        shelf = std::make_unique<ShelfController>(platform.services);
        settle();
    }

    ManualQueue& scans() const { return platform.queues.queue(QStringLiteral("Verrabel.scan")); }
    void settle() { platform.finishScans(); }
    /// One timer step, `seconds` after the previous one, with the pointer at `pointer`.
    void step(std::optional<QPointF> pointer, double seconds = kTick) {
        platform.pointer.point = pointer;
        platform.clock.advance(seconds);
        platform.timers.last->fire();
    }
    /// Steps with the pointer at `pointer` for about `seconds`; returns the scans started.
    int stay(QPointF pointer, double seconds) {
        int started = 0;
        for (double elapsed = 0; elapsed < seconds; elapsed += kTick) {
            step(pointer);
            started += static_cast<int>(scans().items.size());
            settle();
        }
        return started;
    }
    void open() {
        step(kNotch);
        settle();
        ASSERT_TRUE(shelf->expanded);
    }
    /// The clock arrives at exactly 0 with this step, so that intervals after it are exact
    /// doubles and the strict comparisons can be tested at their very boundary.
    void stepAtTimeZero(QPointF pointer) {
        platform.clock.time = -kTick;
        step(pointer);
    }
    /// Moves the panel away, so that the next layout() shows itself by putting it back.
    void displacePanel() const { shelf->panel->setFrame(QRectF(0, 0, 10, 10)); }
    bool laidOut() const { return shelf->panel->frame() == QRectF(590, 610, 420, 350); }

    FakePlatform platform;
    std::unique_ptr<ShelfController> shelf;
};

TEST_F(HoverLoop, ReachingTheNotchExpandsWithinOneStep) {
    step(kFarAway);
    EXPECT_FALSE(shelf->expanded);
    EXPECT_TRUE(scans().items.empty());

    step(kNotch);
    EXPECT_TRUE(shelf->expanded);
    EXPECT_TRUE(shelf->panel->isVisible());
    EXPECT_EQ(shelf->panel->geometry(), QRect(590, 40, 420, 350));
    EXPECT_EQ(scans().items.size(), 1U);
    EXPECT_EQ(shelf->lastRefresh, platform.clock.time);
    EXPECT_FALSE(shelf->outsideSince);
}

TEST_F(HoverLoop, CollapsesAtTheFirstStepMoreThanFifteenHundredthsAway) {
    open();
    stepAtTimeZero(kFarAway);
    EXPECT_EQ(shelf->outsideSince, 0.0); // Leaving
    EXPECT_TRUE(shelf->expanded);

    step(kFarAway, 0.15); // exactly 0.15 s after leaving: not more
    EXPECT_TRUE(shelf->expanded);
    step(kFarAway, 1e-9);
    EXPECT_FALSE(shelf->expanded);
    EXPECT_FALSE(shelf->panel->isVisible());
    EXPECT_EQ(shelf->outsideSince, 0.0); // kept until the next step
    step(kFarAway);
    EXPECT_FALSE(shelf->outsideSince);

    // Coming back in time leaves it open and starts the count afresh.
    open();
    step(kFarAway);
    step(kOnPanel, 0.1);
    EXPECT_FALSE(shelf->outsideSince);
    step(kFarAway, 0.1);
    step(kFarAway, 0.1);
    EXPECT_TRUE(shelf->expanded);

    // A pointer the display cannot see (on Xwayland, over a native window) is away.
    step(std::nullopt);
    step(std::nullopt, 0.2);
    EXPECT_FALSE(shelf->expanded);
}

TEST_F(HoverLoop, TheDisplayLearnsWhereThePointerMatters) {
    const QRectF hotZone(665, 948, 270, 52);
    EXPECT_EQ(platform.pointer.zones, QList{hotZone});
    open();
    EXPECT_EQ(platform.pointer.zones, (QList{hotZone, QRectF(578, 598, 444, 374)}));
    stay(kFarAway, 0.2);
    EXPECT_EQ(platform.pointer.zones, QList{hotZone});
}

TEST_F(HoverLoop, StaysOpenOverThePanelAndWithinTwelvePointsOfIt) {
    open();
    for (const QPointF point : {kOnPanel, QPointF(578, 800), QPointF(1021.9, 800),
                                QPointF(800, 598), QPointF(578, 598), QPointF(800, 955)}) {
        SCOPED_TRACE(point.x());
        stay(point, 0.5);
        EXPECT_TRUE(shelf->expanded);
        EXPECT_FALSE(shelf->outsideSince);
    }
    // From the notch straight down into the panel: never a step outside both areas.
    for (double y = 999; y > 700; y -= 7) {
        step(QPointF(800, y));
        ASSERT_FALSE(shelf->outsideSince) << y;
    }
    step(QPointF(577.9, 800));
    EXPECT_TRUE(shelf->outsideSince);
}

TEST_F(HoverLoop, HoldsKeepTheShelfOpenAndOnlyExportingStopsRescans) {
    struct Hold {
        const char* name;
        std::function<void(ShelfController&, bool)> set;
        bool rescans;
    };
    const std::vector<Hold> holds{
        {"exporting", [](ShelfController& s, bool on) { s.exporting = on; }, false},
        {"receiving", [](ShelfController& s, bool on) { s.receiving = on; }, true},
        {"busy", [](ShelfController& s, bool on) { s.busy = on ? 2 : 0; }, true},
    };
    for (const Hold& hold : holds) {
        SCOPED_TRACE(hold.name);
        open();
        hold.set(*shelf, true);
        const int scansStarted = stay(kFarAway, 5.0);
        EXPECT_TRUE(shelf->expanded);
        EXPECT_FALSE(shelf->outsideSince);
        EXPECT_EQ(scansStarted > 0, hold.rescans);

        // Counted from the first step without the hold.
        hold.set(*shelf, false);
        stepAtTimeZero(kFarAway);
        step(kFarAway, 0.15);
        EXPECT_TRUE(shelf->expanded);
        step(kFarAway, 1e-9);
        EXPECT_FALSE(shelf->expanded);
    }
}

TEST_F(HoverLoop, ShowShelfGrantsTwoSecondsThatAVisitTakesAway) {
    stepAtTimeZero(kFarAway);
    shelf->showShelf();
    EXPECT_TRUE(shelf->expanded);
    EXPECT_EQ(shelf->outsideSince, 2.0);
    EXPECT_EQ(scans().items.size(), 1U);
    settle();

    while (platform.clock.time + kTick < 2.15) {
        step(kFarAway);
        ASSERT_TRUE(shelf->expanded) << platform.clock.time;
    }
    platform.clock.time = 2.15;
    step(kFarAway, 0);
    EXPECT_TRUE(shelf->expanded); // 0.15 s after the allowance: not more
    step(kFarAway, 1e-9);
    EXPECT_FALSE(shelf->expanded);

    // One step over the shelf cancels the allowance.
    shelf->showShelf();
    step(kOnPanel);
    EXPECT_FALSE(shelf->outsideSince);
    step(kFarAway);
    step(kFarAway, 0.15 + 1e-6);
    EXPECT_FALSE(shelf->expanded);
}

TEST_F(HoverLoop, OpeningAnOpenShelfNeitherLaysOutNorRescans) {
    open();
    step(kFarAway);
    displacePanel();

    shelf->showShelf();
    EXPECT_EQ(shelf->outsideSince, platform.clock.time + 2.0);
    shelf->expand();
    EXPECT_FALSE(shelf->outsideSince);
    EXPECT_FALSE(laidOut());
    EXPECT_TRUE(scans().items.empty());

    // From collapsed, both lay the panel out and rescan.
    shelf->expanded = false;
    shelf->expand();
    EXPECT_TRUE(laidOut());
    EXPECT_EQ(scans().items.size(), 1U);
}

TEST_F(HoverLoop, RescansEveryTwoSecondsWhileOpen) {
    stepAtTimeZero(kNotch);
    settle();
    EXPECT_EQ(shelf->lastRefresh, 0.0);
    step(kOnPanel, 2.0);
    EXPECT_EQ(shelf->lastRefresh, 0.0); // 2.0 s exactly is not more
    step(kOnPanel, 1e-9);
    EXPECT_EQ(shelf->lastRefresh, platform.clock.time);
}

TEST_F(HoverLoop, WithoutAScreenNothingHappens) {
    open();
    platform.screens.change({});
    stay(kFarAway, 1.0);
    EXPECT_TRUE(shelf->expanded);
    EXPECT_TRUE(shelf->panel->isVisible());
}

TEST_F(HoverLoop, TheTimerMayNapOnlyWhileCollapsed) {
    const auto& timer = *platform.timers.last;
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
