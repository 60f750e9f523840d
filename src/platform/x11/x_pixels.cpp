#include "x_pixels.h"

#include <QGuiApplication>
#include <QScreen>

namespace verrabel {

const QScreen* screenOfPixel(const QPointF& pixel) {
    for (const QScreen* screen : QGuiApplication::screens()) {
        const QRect geometry = screen->geometry();
        const QRectF area(geometry.topLeft(), QSizeF(geometry.size()) * screen->devicePixelRatio());
        // Half-open: the pixel just beyond the right edge is the next screen's.
        if (pixel.x() >= area.left() && pixel.x() < area.right() && pixel.y() >= area.top() &&
            pixel.y() < area.bottom()) {
            return screen;
        }
    }
    return nullptr;
}

QPointF fromPixel(const QPointF& pixel, const QScreen& screen) {
    const QPointF origin = screen.geometry().topLeft();
    return origin + (pixel - origin) / screen.devicePixelRatio();
}

QPoint toPixel(const QPoint& point, const QScreen& screen) {
    const QPoint origin = screen.geometry().topLeft();
    return origin + (QPointF(point - origin) * screen.devicePixelRatio()).toPoint();
}

} // namespace verrabel
