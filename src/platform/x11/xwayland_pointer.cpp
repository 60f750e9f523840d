#include "xwayland_pointer.h"

#include "platform/desktop/qt_display.h"
#include "platform/desktop/tooltips_pass_pointer.h"
#include "x_pixels.h"
#include "xcb_calls.h"

#include <QCoreApplication>
#include <QEvent>
#include <QGuiApplication>
#include <QRegion>
#include <QScreen>
#include <QSocketNotifier>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include <xcb/shape.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>
#include <vector>

namespace verrabel {

namespace {

// Answering a drag: "not taken", and send every move, not only those leaving a rectangle.
constexpr std::uint32_t kNotTakenSendMoves = 0x2;
// Where a compositor may miss telling that the pointer left the window (KWin, for moves in small
// steps), the window reaches this far beyond the open shelf: the pointer is seen on its way
// out, outside the zones as far as the hover loop can tell, and its last position stays there.
constexpr int kSeenLeaving = 16;
constexpr std::chrono::seconds kRestAfterDrop{2};
constexpr std::chrono::milliseconds kRetellAfter{100};
constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;

xcb_visualid_t argbVisual(const xcb_screen_t* screen) {
    for (auto depths = xcb_screen_allowed_depths_iterator(screen); depths.rem != 0;
         xcb_depth_next(&depths)) {
        if (depths.data->depth != 32) {
            continue;
        }
        for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem != 0;
             xcb_visualtype_next(&visuals)) {
            if (visuals.data->_class == XCB_VISUAL_CLASS_TRUE_COLOR) {
                return visuals.data->visual_id;
            }
        }
    }
    return XCB_NONE;
}

QRect toPixels(const QRect& geometry) {
    const QScreen* screen = QGuiApplication::screenAt(geometry.center());
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen == nullptr) {
        return geometry;
    }
    return {toPixel(geometry.topLeft(), *screen),
            toPixel(geometry.topLeft() + QPoint(geometry.width(), geometry.height()), *screen) -
                QPoint(1, 1)};
}

/// Makes the presence window a dock: above ordinary windows, on every desktop, where it asks to
/// be, never focused. Unlike the panel it is not kept above the other docks, so that the panel,
/// which is, lies over it: KWin hands a drag to the window on top, whatever its input shape.
void makeDock(xcb_connection_t* x, xcb_window_t window) {
    const auto atoms =
        internAtoms(x, {"_NET_WM_WINDOW_TYPE", "_NET_WM_WINDOW_TYPE_DOCK", "_NET_WM_DESKTOP"});
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, atoms[0], XCB_ATOM_ATOM, 32, 1,
                        &atoms[1]);
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, atoms[2], XCB_ATOM_CARDINAL, 32, 1,
                        &kAllDesktops);
    // WM_HINTS: the input field is set, and false.
    const std::array<std::uint32_t, 9> hints{1, 0};
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_HINTS, XCB_ATOM_WM_HINTS, 32,
                        hints.size(), hints.data());
    // WM_NORMAL_HINTS: the position and size are the user's.
    const std::array<std::uint32_t, 18> sizeHints{1 | 2};
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, sizeHints.size(), sizeHints.data());
}

} // namespace

XwaylandPointer::XwaylandPointer(const Screens& screens, bool managed)
    : m_screens(screens)
    , m_seenLeaving(managed ? kSeenLeaving : 0)
    , m_x(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(m_x) != 0) {
        return;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_x)).data;
    m_root = screen->root;
    // Transparent wherever it is: 32-bit colour with alpha, a background of all zeros.
    const xcb_visualid_t visual = argbVisual(screen);
    const xcb_colormap_t colormap = xcb_generate_id(m_x);
    xcb_create_colormap(m_x, XCB_COLORMAP_ALLOC_NONE, colormap, m_root, visual);
    m_window = xcb_generate_id(m_x);
    // Crossings, and one motion until the pointer is next asked for: a move within the window
    // ends the timer's nap as an arrival does.
    const std::array<std::uint32_t, 5> values{
        0, 0, managed ? 0U : 1U,
        XCB_EVENT_MASK_ENTER_WINDOW | XCB_EVENT_MASK_LEAVE_WINDOW | XCB_EVENT_MASK_POINTER_MOTION |
            XCB_EVENT_MASK_POINTER_MOTION_HINT,
        colormap};
    xcb_create_window(m_x, 32, m_window, m_root, -1, -1, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      visual,
                      XCB_CW_BACK_PIXEL | XCB_CW_BORDER_PIXEL | XCB_CW_OVERRIDE_REDIRECT |
                          XCB_CW_EVENT_MASK | XCB_CW_COLORMAP,
                      values.data());
    if (managed) {
        makeDock(m_x, m_window);
    }
    const std::uint32_t version = 5;
    xcb_change_property(m_x, XCB_PROP_MODE_REPLACE, m_window, internAtom(m_x, "XdndAware"),
                        XCB_ATOM_ATOM, 32, 1, &version);
    constexpr std::string_view kClass("verrabel-presence\0Verrabel\0", 27);
    xcb_change_property(m_x, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                        kClass.size(), kClass.data());
    xcb_flush(m_x);

    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_x), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { readEvents(); });
    QCoreApplication::instance()->installNativeEventFilter(this);
    m_tooltips = std::make_unique<TooltipsPassPointer>();
    m_retell = std::make_unique<QTimer>();
    m_retell->setSingleShot(true);
    m_retell->setInterval(kRetellAfter);
    m_retell->callOnTimeout([this] { retellPlace(); });
}

XwaylandPointer::~XwaylandPointer() {
    m_retell.reset();
    m_notifier.reset();
    xcb_disconnect(m_x);
}

bool XwaylandPointer::isXwayland() {
    xcb_connection_t* connection = qtX11Connection();
    if (connection == nullptr) {
        return false;
    }
    // Xwayland names its outputs XWAYLAND0, XWAYLAND1...; from version 23.1 it also has an
    // extension of that name.
    const QList<QScreen*> screens = QGuiApplication::screens();
    if (std::any_of(screens.begin(), screens.end(), [](const QScreen* screen) {
            return screen->name().startsWith(QLatin1String("XWAYLAND"));
        })) {
        return true;
    }
    constexpr std::string_view kName = "XWAYLAND";
    const XcbReply<xcb_query_extension_reply_t> extension(
        xcb_query_extension_reply(
            connection, xcb_query_extension(connection, kName.size(), kName.data()), nullptr),
        &std::free);
    return extension && extension->present != 0;
}

std::optional<QPointF> XwaylandPointer::location() {
    if (m_dropped && std::chrono::steady_clock::now() - *m_dropped > kRestAfterDrop) {
        m_dragAt.reset();
        m_dropped.reset();
    }
    if (m_dragAt) {
        return pointOf(*m_dragAt);
    }
    if (m_over == XCB_NONE) {
        return std::nullopt; // over no window of ours: whatever the server says, it is away
    }
    const XcbReply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(m_x, xcb_query_pointer(m_x, m_root), nullptr), &std::free);
    // Events that came in while waiting are in xcb's queue now, where no notifier sees them.
    readEvents();
    if (!pointer || m_over == XCB_NONE) {
        return std::nullopt;
    }
    return pointOf(QPoint(pointer->root_x, pointer->root_y));
}

void XwaylandPointer::watch(const QList<QRectF>& zones, const QWidget& panel) {
    if (m_window == XCB_NONE) {
        return;
    }
    // Nowhere to watch: the window goes, and with it every click it would take.
    if (zones.isEmpty()) {
        xcb_unmap_window(m_x, m_window);
        xcb_flush(m_x);
        // Nothing to tell again: a window mapped once more now would take clicks it must not.
        m_retell->stop();
        m_mapped = false;
        m_mappedAnew = false;
        if (m_over == m_window) {
            m_over = XCB_NONE;
        }
        return;
    }
    // Exactly the zones, which take the pointer from the windows below, with the ring to see it
    // leave the open shelf where that needs one; never in a bar the desktop keeps for itself.
    QRegion region;
    for (const QRectF& zone : zones) {
        const QRect geometry = m_screens.toWindowGeometry(zone);
        region |= toPixels(geometry);
        const QScreen* screen = QGuiApplication::screenAt(geometry.center());
        if (panel.isVisible() && m_seenLeaving > 0 && screen != nullptr) {
            region |= toPixels(geometry).adjusted(-m_seenLeaving, -m_seenLeaving, m_seenLeaving,
                                                  m_seenLeaving) &
                      toPixels(screen->availableGeometry());
        }
    }
    // Where the panel is shown, it alone takes the pointer, however the compositor stacks the two.
    if (panel.isVisible()) {
        region -= toPixels(panel.geometry());
    }
    const QRect bounds = region.boundingRect();
    const std::array<std::uint32_t, 4> geometry{
        static_cast<std::uint32_t>(bounds.x()), static_cast<std::uint32_t>(bounds.y()),
        static_cast<std::uint32_t>(bounds.width()), static_cast<std::uint32_t>(bounds.height())};
    xcb_configure_window(m_x, m_window,
                         XCB_CONFIG_WINDOW_X | XCB_CONFIG_WINDOW_Y | XCB_CONFIG_WINDOW_WIDTH |
                             XCB_CONFIG_WINDOW_HEIGHT,
                         geometry.data());
    // The window takes the pointer in that region only, not in the corners of its bounds.
    std::vector<xcb_rectangle_t> shape;
    for (const QRect& part : region) {
        const QRect rect = part.translated(-bounds.topLeft());
        shape.push_back({static_cast<std::int16_t>(rect.x()), static_cast<std::int16_t>(rect.y()),
                         static_cast<std::uint16_t>(rect.width()),
                         static_cast<std::uint16_t>(rect.height())});
    }
    for (const xcb_shape_kind_t kind : {XCB_SHAPE_SK_BOUNDING, XCB_SHAPE_SK_INPUT}) {
        xcb_shape_rectangles(m_x, XCB_SHAPE_SO_SET, kind, XCB_CLIP_ORDERING_YX_BANDED, m_window, 0,
                             0, static_cast<std::uint32_t>(shape.size()), shape.data());
    }
    const auto panelWindow = static_cast<std::uint32_t>(panel.winId());
    if (panelWindow != m_panelWindow) {
        // The pointer over the panel counts too: watch its crossings on our connection as well.
        m_panelWindow = panelWindow;
        const std::uint32_t crossings = XCB_EVENT_MASK_ENTER_WINDOW | XCB_EVENT_MASK_LEAVE_WINDOW;
        xcb_change_window_attributes(m_x, m_panelWindow, XCB_CW_EVENT_MASK, &crossings);
    }
    m_mappedAnew = m_mappedAnew || !m_mapped;
    m_mapped = true;
    xcb_map_window(m_x, m_window);
    // Just below the panel while it is shown, so that the panel takes its own pointer; else on
    // top of everything.
    if (panel.isVisible()) {
        const std::array<std::uint32_t, 2> below{panelWindow, XCB_STACK_MODE_BELOW};
        xcb_configure_window(
            m_x, m_window, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, below.data());
    } else {
        const std::uint32_t above = XCB_STACK_MODE_ABOVE;
        xcb_configure_window(m_x, m_window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    }
    xcb_flush(m_x);
    m_retell->start();
}

void XwaylandPointer::retellPlace() {
    // A wlroots compositor may leave what the server tells it of the window unheeded until it
    // tells it something more (sway 1.12, about one shelf in eight): a move, and the pointer is
    // taken where the window was; a mapping, and the window never takes it. A moment later, one
    // more event: a window just mapped is mapped once more, else a property is written.
    if (std::exchange(m_mappedAnew, false)) {
        xcb_unmap_window(m_x, m_window);
        xcb_map_window(m_x, m_window);
        m_retell->start();
    } else {
        // Any write tells of the property, also one that leaves its value as it was.
        const std::uint32_t placed = 1;
        xcb_change_property(m_x, XCB_PROP_MODE_REPLACE, m_window,
                            internAtom(m_x, "_VERRABEL_PLACED"), XCB_ATOM_CARDINAL, 32, 1, &placed);
    }
    xcb_flush(m_x);
}

bool XwaylandPointer::awaitMotion(std::function<void()> onMotion) {
    if (m_window == XCB_NONE) {
        return false;
    }
    m_onArrival = std::move(onMotion);
    return true;
}

void XwaylandPointer::cancel() {
    m_onArrival = nullptr;
}

void XwaylandPointer::readEvents() {
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_x)) {
        handle(event);
        std::free(event);
    }
    if (xcb_connection_has_error(m_x) != 0) {
        m_notifier.reset();
        arrived(); // whoever waits must not wait forever
    }
}

void XwaylandPointer::handle(const void* event) {
    switch (static_cast<const xcb_generic_event_t*>(event)->response_type & 0x7f) {
    case XCB_ENTER_NOTIFY:
    case XCB_LEAVE_NOTIFY:
        crossed(*static_cast<const xcb_enter_notify_event_t*>(event));
        break;
    case XCB_MOTION_NOTIFY:
        moved(static_cast<const xcb_motion_notify_event_t*>(event)->event);
        break;
    case XCB_CLIENT_MESSAGE:
        dragMessage(event);
        break;
    default:
        break;
    }
}

void XwaylandPointer::crossed(const xcb_enter_notify_event_t& crossing) {
    // Grabs (a menu, a drag out) move no pointer: the crossings they cause say nothing.
    if (crossing.mode != XCB_NOTIFY_MODE_NORMAL) {
        return;
    }
    if ((crossing.response_type & 0x7f) == XCB_LEAVE_NOTIFY) {
        if (crossing.event == m_over) {
            m_over = XCB_NONE;
        }
        return;
    }
    if (m_dragAt) {
        // A window of ours restacked under a drag: the server tells of an arrival at the
        // position it had before the drag began (Xwayland sees no pointer while a native drag
        // goes on). Only a move says that the drag is over.
        m_over = crossing.event;
        arrived();
        return;
    }
    moved(crossing.event);
}

void XwaylandPointer::moved(std::uint32_t window) {
    // Also a move without an arrival: a compositor that missed telling of the last departure
    // does not tell of the return either (KWin).
    m_over = window;
    m_dragAt.reset(); // the pointer moves by itself: no drag goes on
    m_dropped.reset();
    arrived();
}

void XwaylandPointer::dragMessage(const void* message) {
    const auto* drag = static_cast<const xcb_client_message_event_t*>(message);
    const std::uint32_t type = drag->type;
    if (type == internAtom(m_x, "XdndPosition")) {
        const std::uint32_t at = drag->data.data32[2];
        m_dragAt = QPoint(static_cast<int>(at >> 16), static_cast<int>(at & 0xffff));
        m_dragOver = drag->window;
        m_dropped.reset();
        if (drag->window == m_window) {
            replyToDrag(drag->data.data32[0], "XdndStatus", kNotTakenSendMoves);
        }
        arrived();
    } else if (type == internAtom(m_x, "XdndDrop")) {
        // The pointer now rests where it dropped, until it is seen again: a compositor may tell
        // of it only once it moves (wlroots, which also sends a leave after the drop), or not
        // at all while it moves over windows of other clients. So for a moment only.
        m_dropped = std::chrono::steady_clock::now();
        if (drag->window == m_window) {
            replyToDrag(drag->data.data32[0], "XdndFinished", 0);
        }
    } else if (type == internAtom(m_x, "XdndLeave") && drag->window == m_dragOver && !m_dropped) {
        m_dragAt.reset();
    }
}

bool XwaylandPointer::nativeEventFilter(const QByteArray& /*eventType*/, void* message,
                                        qintptr* /*result*/) {
    // Drags over the panel come to Qt's connection.
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE &&
        static_cast<const xcb_client_message_event_t*>(message)->window == m_panelWindow) {
        dragMessage(message);
    }
    return false;
}

void XwaylandPointer::replyToDrag(std::uint32_t source, const char* type, std::uint32_t flags) {
    xcb_client_message_event_t reply{};
    reply.response_type = XCB_CLIENT_MESSAGE;
    reply.format = 32;
    reply.window = source;
    reply.type = internAtom(m_x, type);
    reply.data.data32[0] = m_window;
    reply.data.data32[1] = flags;
    xcb_send_event(m_x, 0, source, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&reply));
    xcb_flush(m_x);
}

void XwaylandPointer::arrived() {
    if (auto onArrival = std::exchange(m_onArrival, nullptr)) {
        onArrival();
    }
}

QPointF XwaylandPointer::pointOf(const QPoint& pixel) const {
    const QScreen* screen = screenOfPixel(pixel);
    return pointOfPixel(screen != nullptr ? fromPixel(pixel, *screen) : QPointF(pixel));
}

} // namespace verrabel
