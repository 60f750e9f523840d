// Choosing the screen and placing the panel on it.

#include "drop_view.h"
#include "notch_geometry.h"
#include "platform/platform.h"
#include "platform/repeating_timer.h"
#include "shelf_controller.h"
#include "shelf_panel.h"

#include <algorithm>

namespace verrabel {

void ShelfController::reposition() {
    screens = m_platform.screens.screens();
    // Open on a screen that is still there (a bar came, another screen went): it stays there,
    // under the pointer.
    const auto same = std::find_if(screens.begin(), screens.end(), [this](const ScreenInfo& info) {
        return screen && info.frame == screen->frame;
    });
    // Else the first screen with a camera housing, else the first screen, else none. A
    // desktop's bar is no camera housing: it does not draw the shelf away from the primary screen.
    const auto notched = std::find_if(screens.begin(), screens.end(), [](const ScreenInfo& info) {
        return info.safeAreaTop > 0 && !info.topBandIsBar;
    });
    if (expanded && same != screens.end()) {
        screen = *same;
    } else if (notched != screens.end()) {
        screen = *notched;
    } else {
        screen = screens.isEmpty() ? std::nullopt : std::optional(screens.first());
    }
    // The hot zone may have moved under a resting pointer.
    if (timer) {
        timer->resume();
    }
    layout();
}

void ShelfController::layout() {
    if (!screen) {
        return;
    }
    if (!expanded) {
        panel->orderOut();
        clearSelection();
        m_platform.pointer.watch(hotZones(), *panel);
        return;
    }
    const QRectF hotZone = notch::hotZone(*screen, watchesTopEdgeOnly(*screen));
    panel->setFrame(notch::expandedFrame(*screen));
    root->setGeometry(0, 0, static_cast<int>(notch::kPanelWidth),
                      static_cast<int>(notch::kPanelHeight));
    content->setHidden(false);
    root->setCornerRadius(notch::kCornerRadius);
    panel->orderFrontRegardless();
    m_platform.pointer.watch({hotZone, notch::keepOpenArea(*screen, panel->frame())}, *panel);
}

} // namespace verrabel
