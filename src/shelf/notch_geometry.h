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
/// Where a desktop's bar holds the notch, the strip along the top edge that still opens the
/// shelf: the pointer pushed against the edge, as the bar's own controls are seldom used.
inline constexpr double kTopEdgeStrip = 2;

[[nodiscard]] double notchHeight(const ScreenInfo& screen);
/// The y of the notch's lower edge.
[[nodiscard]] double notchBottom(const ScreenInfo& screen);
/// The camera housing's width; only where the screen reports the areas on both sides of it.
[[nodiscard]] std::optional<double> notchGap(const ScreenInfo& screen);
[[nodiscard]] double hotZoneWidth(const ScreenInfo& screen);
/// From 12 points below the notch up to the screen's top edge, centred on the screen; in a
/// desktop's bar only the strip along the top edge.
[[nodiscard]] QRectF hotZone(const ScreenInfo& screen);
/// The panel hanging from the notch, centred on the screen.
[[nodiscard]] QRectF expandedFrame(const ScreenInfo& screen);

/// Where the pointer keeps the expanded shelf open: the panel's frame and a margin around it,
/// short of a desktop's bar above it.
[[nodiscard]] QRectF keepOpenArea(const ScreenInfo& screen, const QRectF& panelFrame);

/// Containment with the minimum edges inside and the maximum edges outside.
[[nodiscard]] bool contains(const QRectF& rect, const QPointF& point);

} // namespace verrabel::notch
