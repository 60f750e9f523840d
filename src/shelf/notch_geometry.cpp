#include "notch_geometry.h"

#include <algorithm>

namespace verrabel::notch {

namespace {
// QRectF's top() and bottom() name y-down edges; in these y-up frames say what is meant.
double minX(const QRectF& rect) {
    return rect.x();
}
double maxX(const QRectF& rect) {
    return rect.x() + rect.width();
}
double minY(const QRectF& rect) {
    return rect.y();
}
double maxY(const QRectF& rect) {
    return rect.y() + rect.height();
}
double midX(const QRectF& rect) {
    return rect.x() + rect.width() / 2;
}
} // namespace

double notchHeight(const ScreenInfo& screen) {
    return std::max(screen.safeAreaTop, kLeastNotchHeight);
}

double notchBottom(const ScreenInfo& screen) {
    return maxY(screen.frame) - notchHeight(screen);
}

std::optional<double> notchGap(const ScreenInfo& screen) {
    if (!screen.auxiliaryTopLeftArea || !screen.auxiliaryTopRightArea) {
        return std::nullopt;
    }
    return minX(*screen.auxiliaryTopRightArea) - maxX(*screen.auxiliaryTopLeftArea);
}

double hotZoneWidth(const ScreenInfo& screen) {
    const std::optional<double> gap = notchGap(screen);
    return gap ? std::max(*gap, kLeastNotchGap) + kHotZoneWidening : kHotZoneWidthWithoutAreas;
}

QRectF hotZone(const ScreenInfo& screen, bool edgeOnly) {
    const double width = hotZoneWidth(screen);
    if (edgeOnly) {
        return {midX(screen.frame) - width / 2, maxY(screen.frame) - kTopEdgeStrip, width,
                kTopEdgeStrip};
    }
    return {midX(screen.frame) - width / 2, notchBottom(screen) - kHotZoneReach, width,
            notchHeight(screen) + kHotZoneReach};
}

QRectF expandedFrame(const ScreenInfo& screen) {
    return {midX(screen.frame) - kPanelWidth / 2, notchBottom(screen) - kPanelHeight, kPanelWidth,
            kPanelHeight};
}

QRectF keepOpenArea(const ScreenInfo& screen, const QRectF& panelFrame) {
    QRectF area =
        panelFrame.adjusted(-kKeepOpenMargin, -kKeepOpenMargin, kKeepOpenMargin, kKeepOpenMargin);
    if (screen.topBandIsBar) {
        area.setHeight(std::min(maxY(area), notchBottom(screen)) - minY(area));
    }
    return area;
}

QRectF wayIn(const ScreenInfo& screen, bool edgeOnly, const QRectF& panelFrame) {
    if (!edgeOnly) {
        return {};
    }
    const QRectF strip = hotZone(screen, true);
    const double bottom = maxY(keepOpenArea(screen, panelFrame));
    return {minX(strip), bottom, strip.width(), std::max(0.0, minY(strip) - bottom)};
}

bool contains(const QRectF& rect, const QPointF& point) {
    return point.x() >= minX(rect) && point.x() < maxX(rect) && point.y() >= minY(rect) &&
           point.y() < maxY(rect);
}

} // namespace verrabel::notch
