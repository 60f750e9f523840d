#pragma once

#include "platform/display.h"
#include "platform/motion_watch.h"

#include <QAbstractNativeEventFilter>
#include <QPoint>

#include <chrono>
#include <cstdint>
#include <memory>

class QSocketNotifier;
class QTimer;
struct xcb_connection_t;
struct xcb_enter_notify_event_t;

namespace verrabel {

class TooltipsPassPointer;

/// The pointer in a Wayland session, through Xwayland, where an X client sees the pointer only
/// while it is over one of the X server's windows. A fully transparent override-redirect window
/// of ours, the presence window, covers the zones where the pointer matters and a ring around
/// them, so it is seen there and on its way out; over no window of ours it counts as away.
///
/// During a drag the compositor sends X windows drag messages (XDND) instead of pointer events,
/// so a drag's position over our windows is the pointer's, and the presence window takes part
/// in XDND, answering that it takes nothing. Arrivals and moves over our windows, by pointer or
/// drag, end the hover timer's naps.
class XwaylandPointer final : public Pointer,
                              public MotionWatch,
                              private QAbstractNativeEventFilter {
public:
    /// With `managed` the presence window is a dock that the window manager manages, for KWin:
    /// it bridges native drags only into such windows, and may not tell a window that the pointer
    /// left it, so there the window reaches a little beyond the open shelf to see it leave.
    XwaylandPointer(const Screens& screens, bool managed);
    ~XwaylandPointer() override;
    XwaylandPointer(const XwaylandPointer&) = delete;
    XwaylandPointer& operator=(const XwaylandPointer&) = delete;

    /// Whether Qt's X display is an Xwayland server.
    [[nodiscard]] static bool isXwayland();

    [[nodiscard]] std::optional<QPointF> location() override;
    void watch(const QList<QRectF>& zones, const QWidget& panel) override;
    [[nodiscard]] bool seenOnlyWhereTaken() const override { return true; }
    bool awaitMotion(std::function<void()> onMotion) override;
    void cancel() override;

private:
    void readEvents();
    void handle(const void* event);
    void crossed(const xcb_enter_notify_event_t& crossing);
    void moved(std::uint32_t window);
    void dragMessage(const void* message);
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void retellPlace();
    void replyToDrag(std::uint32_t source, const char* type, std::uint32_t flags);
    void arrived();
    [[nodiscard]] QPointF pointOf(const QPoint& pixel) const;

    const Screens& m_screens;
    /// How far beyond the open shelf the window reaches.
    int m_seenLeaving;
    xcb_connection_t* m_x = nullptr;
    std::uint32_t m_root = 0;
    std::uint32_t m_window = 0;
    std::uint32_t m_panelWindow = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::unique_ptr<TooltipsPassPointer> m_tooltips;
    std::unique_ptr<QTimer> m_retell;
    bool m_mapped = false;
    /// Mapped since the window's place was last told again.
    bool m_mappedAnew = false;
    std::function<void()> m_onArrival;
    /// The window of ours the pointer is over, by the last crossing.
    std::uint32_t m_over = 0;
    /// Where a drag over one of our windows was last, and over which.
    std::optional<QPoint> m_dragAt;
    std::uint32_t m_dragOver = 0;
    /// When the drag was dropped, if it was.
    std::optional<std::chrono::steady_clock::time_point> m_dropped;
};

} // namespace verrabel
