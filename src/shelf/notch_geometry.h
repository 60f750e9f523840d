#pragma once

#include "platform/display.h"

#include <optional>

namespace verrabel::notch {

// Everything here is in global points, y up, derived afresh from one screen's metrics.

inline constexpr double kLeastNotchHeight = 25;
inline constexpr double kLeastNotchGap = 120;
inline constexpr double kHotZoneWidening = 70;
inline constexpr double kHotZoneWidthWithoutAreas = 250;
inline constexpr double kHotZoneReach = 12;
inline constexpr double kPanelWidth = 420;
inline constexpr double kPanelHeight = 350;
inline constexpr double kCornerRadius = 22;
inline constexpr double kKeepOpenMargin = 12;
/// Where the zone would take what is not the shelf's (a desktop's bar and its controls, or
/// under Wayland the clicks of the windows below it), the strip along the top edge that still
/// opens the shelf: the pointer pushed against the edge.
inline constexpr double kTopEdgeStrip = 2;

[[nodiscard]] double notchHeight(const ScreenInfo& screen);
/// The y of the notch's lower edge.
[[nodiscard]] double notchBottom(const ScreenInfo& screen);
/// The camera housing's width; only where the screen reports the areas on both sides of it.
[[nodiscard]] std::optional<double> notchGap(const ScreenInfo& screen);
[[nodiscard]] double hotZoneWidth(const ScreenInfo& screen);
/// From 12 points below the notch up to the screen's top edge, centred on the screen; with
/// `edgeOnly` only the strip along the top edge.
[[nodiscard]] QRectF hotZone(const ScreenInfo& screen, bool edgeOnly);
/// Below the top-edge strip, the band the pointer crosses on its way down into the shelf: over
/// a desktop's bar, or over other windows. Empty where the whole zone opens the shelf.
[[nodiscard]] QRectF wayIn(const ScreenInfo& screen, bool edgeOnly, const QRectF& panelFrame);
/// The panel hanging from the notch, centred on the screen.
[[nodiscard]] QRectF expandedFrame(const ScreenInfo& screen);

/// Where the pointer keeps the expanded shelf open: the panel's frame and a margin around it,
/// short of a desktop's bar above it.
[[nodiscard]] QRectF keepOpenArea(const ScreenInfo& screen, const QRectF& panelFrame);

/// Containment with the minimum edges inside and the maximum edges outside.
[[nodiscard]] bool contains(const QRectF& rect, const QPointF& point);

} // namespace verrabel::notch
