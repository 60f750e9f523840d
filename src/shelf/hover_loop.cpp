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

} // namespace

void ShelfController::tick() {
    if (!screen) {
        return;
    }
    // A pointer the display cannot see is away from both areas.
    const std::optional<QPointF> pointer = m_platform.pointer.location();
    const auto at = [&pointer](const QRectF& area) {
        return pointer && notch::contains(area, *pointer);
    };

    if (at(notch::hotZone(*screen))) {
        outsideSince.reset();
        expandIfCollapsed();
    } else if (expanded && !at(notch::keepOpenArea(*screen, panel->frame())) && !exporting &&
               !receiving && busy == 0) {
        if (!outsideSince) {
            outsideSince = m_platform.clock.now();
        }
        if (m_platform.clock.now() - *outsideSince > kCollapseDelay) {
            expanded = false;
            layout();
        }
    } else {
        outsideSince.reset();
    }

    if (expanded && !exporting && m_platform.clock.now() - lastRefresh > kRescanInterval) {
        refresh();
    }

    // Collapsed, only a moving pointer can give a later step something to do (a change of
    // screens or an expansion from outside resumes the timer itself).
    if (!expanded) {
        timer->idleAt(pointer);
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
