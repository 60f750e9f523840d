#include "coordinates.h"

namespace verrabel::coordinates {

namespace {
// The bottom edge of the primary screen, the y-up origin, in Qt's y-down coordinates.
double bottomOf(const QRect& primary) {
    return primary.y() + double(primary.height());
}
} // namespace

QRectF fromQt(const QRectF& rect, const QRect& primary) {
    return {rect.x() - primary.x(), bottomOf(primary) - rect.y() - rect.height(), rect.width(),
            rect.height()};
}

QPointF fromQt(const QPointF& point, const QRect& primary) {
    return {point.x() - primary.x(), bottomOf(primary) - point.y()};
}

QRectF toQt(const QRectF& rect, const QRect& primary) {
    // The same reflection, so it is its own inverse.
    return {rect.x() + primary.x(), bottomOf(primary) - rect.y() - rect.height(), rect.width(),
            rect.height()};
}

} // namespace verrabel::coordinates
