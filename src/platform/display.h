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
    /// Height of the band along the top edge that the shelf hangs from: the camera housing's, or
    /// a desktop bar's where the work area starts below the top edge; 0 on screens with neither.
    double safeAreaTop = 0;
    /// The menu-bar areas left and right of the camera housing, where the screen reports them.
    std::optional<QRectF> auxiliaryTopLeftArea;
    std::optional<QRectF> auxiliaryTopRightArea;
    /// The band is a desktop's bar with controls of its own (GNOME's clock sits at the top
    /// centre), not a camera housing: it stays the bar's, but for its very top edge.
    bool topBandIsBar = false;

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
    /// Whether the pointer is seen only where a window of ours takes its clicks from the
    /// windows below (an X client in a Wayland session): then the less watched, the better.
    [[nodiscard]] virtual bool seenOnlyWhereTaken() const = 0;
};

/// How high a floating window stands: above everything, or above every window but an active
/// fullscreen one (a video, a game), which the compositor then keeps in front of it.
enum class Stacking { AboveAll, UnderFullscreen };

/// Sets windows of ours up to float above the desktop's own: above other windows on every
/// desktop, out of the taskbar and window switching, never taking the keyboard focus from the
/// user's window, unmovable and exactly where they are put.
class FloatingWindows {
public:
    virtual ~FloatingWindows() = default;
    /// Before `window` is first shown. Where the compositor stacks no window of ours under a
    /// fullscreen one by itself, `stacking` changes nothing.
    virtual void setUp(QWidget& window, Stacking stacking) = 0;
};

/// Fullscreen windows, as far as the platform can tell: the active window while it is
/// fullscreen, or where a shell tells, every screen a fullscreen window is up on. Where it
/// cannot tell (a native window seen from Xwayland), there are none.
class FullscreenWatch : public QObject {
    Q_OBJECT
public:
    /// Their frames in global points.
    [[nodiscard]] virtual QList<QRectF> fullscreenFrames() const = 0;

Q_SIGNALS:
    /// A window went into fullscreen or out of it, or moved, or another became the active one.
    void changed();
};

/// Whether a compositing manager draws translucent windows; without one, shapes need a mask.
class Compositor {
public:
    virtual ~Compositor() = default;
    [[nodiscard]] virtual bool isActive() const = 0;
};

} // namespace verrabel
