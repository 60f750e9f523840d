// The 60 Hz hover step and the two ways of opening the shelf from outside it.

#include "notch_geometry.h"
#include "platform/platform.h"
#include "platform/repeating_timer.h"
#include "shelf_controller.h"
#include "shelf_panel.h"

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
    const bool edgeOnly = watchesTopEdgeOnly();
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
    if (at(notch::hotZone(*screen, edgeOnly)) && (expanded || !edgeStandsAside())) {
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

bool ShelfController::watchesTopEdgeOnly() const {
    return screen && (screen->topBandIsBar || m_platform.pointer.seenOnlyWhereTaken());
}

bool ShelfController::edgeStandsAside() const {
    const std::optional<QRectF> fullscreen = m_platform.fullscreen.activeFullscreen();
    return screen && fullscreen && fullscreen->intersects(screen->frame);
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
