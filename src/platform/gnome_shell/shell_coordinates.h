#pragma once

#include <QPointF>
#include <QRect>
#include <QRectF>

namespace verrabel {

/// Between the shell's coordinates and Qt's global ones, fixed by one monitor seen from both
/// sides: they differ by a place and, where Xwayland scales natively, by a scale that is the
/// same for every monitor.
class ShellCoordinates {
public:
    ShellCoordinates(const QRect& monitor, const QRect& screen)
        : m_monitor(monitor)
        , m_screen(screen) {}

    [[nodiscard]] bool valid() const { return !m_monitor.isEmpty() && !m_screen.isEmpty(); }
    /// A point of the shell in Qt's global coordinates.
    [[nodiscard]] QPointF toQt(const QPointF& point) const {
        return QPointF(m_screen.topLeft()) + (point - QPointF(m_monitor.topLeft())) / scale();
    }
    [[nodiscard]] QRectF toQt(const QRect& rect) const {
        return {toQt(QPointF(rect.topLeft())), QSizeF(rect.size()) / scale()};
    }
    /// A rectangle in Qt's global coordinates in the shell's.
    [[nodiscard]] QRectF toShell(const QRectF& rect) const {
        return {QPointF(m_monitor.topLeft()) +
                    (rect.topLeft() - QPointF(m_screen.topLeft())) * scale(),
                rect.size() * scale()};
    }

private:
    [[nodiscard]] double scale() const {
        return static_cast<double>(m_monitor.width()) / m_screen.width();
    }

    QRect m_monitor;
    QRect m_screen;
};

} // namespace verrabel
