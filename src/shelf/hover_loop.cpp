// The 60 Hz hover step and the two ways of opening the shelf from outside it.

#include "notch_geometry.h"
#include "platform/platform.h"
#include "platform/repeating_timer.h"
#include "shelf_controller.h"
#include "shelf_panel.h"

#include <algorithm>

namespace verrabel {

namespace {

constexpr double kCollapseDelay = 0.15;
constexpr double kShowShelfMinimum = 2.0;
constexpr double kRescanInterval = 2.0;
// A hand takes this long at most to cross a desktop's bar from the top edge down into the shelf.
constexpr double kWayInAllowance = 0.5;

} // namespace

void ShelfController::tick() {
    if (!screen) {
        return;
    }
    // A pointer the display cannot see is in no area; it is away, but on the way in.
    const std::optional<QPointF> pointer = m_platform.pointer.location();
    const auto at = [&pointer](const QRectF& area) {
        return pointer && notch::contains(area, *pointer);
    };
    // Collapsed, the top centre of any screen brings the shelf down there.
    if (!expanded && pointer) {
        if (const std::optional<ScreenInfo> opened = screenOpenedAt(*pointer)) {
            screen = opened;
        }
    }
    const bool edgeOnly = watchesTopEdgeOnly(*screen);
    const Date now = m_platform.clock.now();
    // Where only the top edge opens the shelf, the way down from it into the shelf crosses a
    // band that is not the shelf's (a desktop's bar, where the pointer may not be seen at all):
    // for a moment after the edge, the pointer there is not away.
    const bool onWayIn = edgeSeenAt && now - *edgeSeenAt <= kWayInAllowance &&
                         (!pointer || at(notch::wayIn(*screen, edgeOnly, panel->frame())));
    if (!onWayIn) {
        edgeSeenAt.reset();
    }

    // Open, the zone keeps the shelf open as ever; collapsed, it opens it unless it stands aside.
    if (at(notch::hotZone(*screen, edgeOnly)) && (expanded || !edgeStandsAside(*screen))) {
        outsideSince.reset();
        if (edgeOnly) {
            edgeSeenAt = now;
        }
        expandIfCollapsed();
    } else if (expanded && !at(notch::keepOpenArea(*screen, panel->frame())) && !onWayIn &&
               !exporting && !receiving && busy == 0) {
        if (!outsideSince) {
            outsideSince = now;
        }
        if (now - *outsideSince > kCollapseDelay) {
            expanded = false;
            layout();
        }
    } else {
        outsideSince.reset();
    }

    if (expanded && !exporting && now - lastRefresh > kRescanInterval) {
        refresh();
    }

    // Collapsed, only a moving pointer can give a later step something to do (a change of
    // screens or an expansion from outside resumes the timer itself).
    if (!expanded) {
        timer->idleAt(pointer);
    }
}

bool ShelfController::watchesTopEdgeOnly(const ScreenInfo& on) const {
    return on.topBandIsBar || m_platform.pointer.seenOnlyWhereTaken();
}

bool ShelfController::edgeStandsAside(const ScreenInfo& on) const {
    const QList<QRectF> frames = m_platform.fullscreen.fullscreenFrames();
    return std::any_of(frames.begin(), frames.end(),
                       [&on](const QRectF& frame) { return frame.intersects(on.frame); });
}

std::optional<ScreenInfo> ShelfController::screenOpenedAt(const QPointF& point) const {
    for (const ScreenInfo& each : screens) {
        if (notch::contains(notch::hotZone(each, watchesTopEdgeOnly(each)), point) &&
            !edgeStandsAside(each)) {
            return each;
        }
    }
    return std::nullopt;
}

QList<QRectF> ShelfController::hotZones() const {
    QList<QRectF> zones;
    for (const ScreenInfo& each : screens) {
        if (!edgeStandsAside(each)) {
            zones.append(notch::hotZone(each, watchesTopEdgeOnly(each)));
        }
    }
    return zones;
}

void ShelfController::fullscreenChanged() {
    // The edge's zone goes or comes back at once; a pointer resting there counts from now.
    if (!expanded) {
        layout();
        if (timer) {
            timer->resume();
        }
    }
}

void ShelfController::expand() {
    outsideSince.reset();
    expandIfCollapsed();
}

void ShelfController::showShelf() {
    // On the screen the pointer is on, where that is known.
    if (const std::optional<QPointF> pointer = m_platform.pointer.location();
        pointer && !expanded) {
        const auto under =
            std::find_if(screens.begin(), screens.end(), [&pointer](const ScreenInfo& each) {
                return notch::contains(each.frame, *pointer);
            });
        if (under != screens.end()) {
            screen = *under;
        }
    }
    outsideSince.reset();
    expandIfCollapsed();
    outsideSince = m_platform.clock.now() + kShowShelfMinimum;
}

void ShelfController::expandIfCollapsed() {
    if (!expanded) {
        if (timer) {
            timer->resume();
        }
        expanded = true;
        layout();
        refresh();
    }
}

} // namespace verrabel
