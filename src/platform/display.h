#pragma once

#include <QList>
#include <QObject>
#include <QPointF>
#include <QRect>
#include <QRectF>

#include <optional>

class QWidget;

namespace verrabel {

/// One screen in global points: origin at the bottom-left corner of the primary screen, y up.
struct ScreenInfo {
    QRectF frame;
    /// Height of the camera housing at the top edge; 0 on screens without one.
    double safeAreaTop = 0;
    /// The menu-bar areas left and right of the camera housing, where the screen reports them.
    std::optional<QRectF> auxiliaryTopLeftArea;
    std::optional<QRectF> auxiliaryTopRightArea;

    bool operator==(const ScreenInfo&) const = default;
};

/// The screens and the conversion between global points (y up) and window coordinates.
class Screens : public QObject {
    Q_OBJECT
public:
    /// The screens in the platform's order; the primary screen first.
    [[nodiscard]] virtual QList<ScreenInfo> screens() const = 0;
    /// A global y-up rectangle as a top-left-origin window geometry.
    [[nodiscard]] virtual QRect toWindowGeometry(const QRectF& frame) const = 0;

Q_SIGNALS:
    /// A screen was added or removed, the primary screen changed, or a screen changed geometry.
    void changed();
};

class Pointer {
public:
    virtual ~Pointer() = default;
    /// The pointer location in global points, y up; none while the display cannot see it (on
    /// Xwayland: over a native Wayland window or the bare desktop), which is away from all.
    [[nodiscard]] virtual std::optional<QPointF> location() = 0;
    /// The zones, in global points, where the pointer's position matters from now on, and the
    /// panel that hangs in them. Where the display shows the pointer only over windows, a window
    /// of ours is kept there, just below the panel.
    virtual void watch(const QList<QRectF>& zones, const QWidget& panel) = 0;
};

/// Whether a compositing manager draws translucent windows; without one, shapes need a mask.
class Compositor {
public:
    virtual ~Compositor() = default;
    [[nodiscard]] virtual bool isActive() const = 0;
};

} // namespace verrabel
