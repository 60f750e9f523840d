#pragma once

#include <QPointF>
#include <QRect>
#include <QRectF>

namespace verrabel::coordinates {

// Global points have their origin at the bottom-left corner of the primary screen and y up;
// Qt's global coordinates have theirs at the top-left of the virtual desktop and y down.

/// A Qt global rectangle in y-up points, given the primary screen's Qt geometry.
[[nodiscard]] QRectF fromQt(const QRectF& rect, const QRect& primary);
/// A Qt global point in y-up points, given the primary screen's Qt geometry.
[[nodiscard]] QPointF fromQt(const QPointF& point, const QRect& primary);
/// A y-up rectangle as a Qt global rectangle, given the primary screen's Qt geometry.
[[nodiscard]] QRectF toQt(const QRectF& rect, const QRect& primary);

} // namespace verrabel::coordinates
