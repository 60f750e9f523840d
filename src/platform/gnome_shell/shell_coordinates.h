#pragma once

#include <QPointF>
#include <QRect>
#include <QRectF>

namespace verrabel {

/// Between the shell's coordinates of a monitor and Qt's global ones of the same screen: the
/// two agree on where the screen is, and differ by a scale where Xwayland scales natively.
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
    /// The left and right of a Qt global rectangle in the shell's coordinates.
    [[nodiscard]] std::pair<double, double> spanOf(const QRectF& rect) const {
        const auto x = [this](double qt) { return m_monitor.x() + (qt - m_screen.x()) * scale(); };
        return {x(rect.left()), x(rect.right())};
    }

private:
    [[nodiscard]] double scale() const {
        return static_cast<double>(m_monitor.width()) / m_screen.width();
    }

    QRect m_monitor;
    QRect m_screen;
};

} // namespace verrabel
