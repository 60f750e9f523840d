#pragma once

#include <QPointF>
#include <QRect>

class QScreen;

namespace verrabel {

// Qt's global coordinates keep each screen's top-left corner where the X server has it and
// scale what lies beyond it by the screen's pixel ratio.

/// The screen whose X pixels hold `pixel`; none off every screen.
[[nodiscard]] const QScreen* screenOfPixel(const QPointF& pixel);
/// An X pixel of `screen` in Qt's global coordinates.
[[nodiscard]] QPointF fromPixel(const QPointF& pixel, const QScreen& screen);
/// A point of `screen` in Qt's global coordinates as an X pixel.
[[nodiscard]] QPoint toPixel(const QPoint& point, const QScreen& screen);

} // namespace verrabel
