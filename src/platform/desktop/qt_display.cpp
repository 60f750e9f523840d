#include "qt_display.h"

#include "platform/coordinates.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

namespace verrabel {

QtScreens::QtScreens() {
    auto* app = qGuiApp;
    connect(app, &QGuiApplication::screenAdded, this, [this](QScreen* screen) {
        follow(screen);
        Q_EMIT changed();
    });
    // A screen is still listed while it is being removed: look again once it is gone.
    connect(app, &QGuiApplication::screenRemoved, this, &Screens::changed, Qt::QueuedConnection);
    connect(app, &QGuiApplication::primaryScreenChanged, this, &Screens::changed);
    for (QScreen* screen : QGuiApplication::screens()) {
        follow(screen);
    }
}

void QtScreens::follow(QScreen* screen) {
    connect(screen, &QScreen::geometryChanged, this, &Screens::changed);
    // A bar that the desktop reserves at the top (GNOME's, a top panel) may come after us.
    connect(screen, &QScreen::availableGeometryChanged, this, &Screens::changed);
}

QList<ScreenInfo> QtScreens::screens() const {
    const QRect primary = primaryGeometry();
    QList<ScreenInfo> result;
    // Qt lists the primary screen first.
    for (const QScreen* screen : QGuiApplication::screens()) {
        ScreenInfo info;
        info.frame = coordinates::fromQt(QRectF(screen->geometry()), primary);
        // No camera housing on Linux; a band the desktop keeps for its bar at the top edge
        // (the work area starts below it) holds the notch instead.
        const int band = screen->availableGeometry().top() - screen->geometry().top();
        if (band > 0) {
            info.safeAreaTop = band;
            info.topBandIsBar = true;
        }
        result.append(info);
    }
    return result;
}

QRect QtScreens::toWindowGeometry(const QRectF& frame) const {
    return coordinates::toQt(frame, primaryGeometry()).toRect();
}

std::optional<QPointF> QtPointer::location() {
    return pointOfPixel(QCursor::pos());
}

QRect primaryGeometry() {
    const QScreen* primary = QGuiApplication::primaryScreen();
    return primary != nullptr ? primary->geometry() : QRect();
}

QPointF pointOfPixel(const QPointF& position) {
    // The pointer is on a pixel; take the pixel's centre. Its top-left corner would put the
    // screen's top row exactly on the top edge, which belongs to no rectangle below it: the
    // shelf would not open for a pointer thrown against the top of the screen.
    return coordinates::fromQt(position + QPointF(0.5, 0.5), primaryGeometry());
}

} // namespace verrabel
