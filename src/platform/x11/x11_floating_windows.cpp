#include "x11_floating_windows.h"

#include "xcb_calls.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace verrabel {

namespace {

constexpr Qt::WindowFlags kFloating =
    Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;
constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;

} // namespace

X11FloatingWindows::X11FloatingWindows(bool managed)
    : m_managed(managed) {
    if (m_managed) {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
}

X11FloatingWindows::~X11FloatingWindows() = default;

bool X11FloatingWindows::wantsManagedWindows(bool xwayland) {
    xcb_connection_t* connection = qtX11Connection();
    return xwayland && connection != nullptr && windowManagerName(connection) == "KWin";
}

void X11FloatingWindows::setUp(QWidget& window, Stacking /*stacking*/) {
    if (!m_managed) {
        // Bypassing the window manager puts the window on every desktop, above full-screen
        // windows, out of the taskbar and Alt-Tab, and shows and hides it without animation.
        window.setWindowFlags(Qt::Tool | kFloating | Qt::BypassWindowManagerHint);
        return;
    }
    // A dock: placed where it asks, never in the taskbar or the window switcher. Qt gives a
    // window its type only once it exists.
    window.setWindowFlags(kFloating);
    const auto id = static_cast<std::uint32_t>(window.winId());
    window.setAttribute(Qt::WA_X11NetWmWindowTypeDock);
    m_windows.push_back(id);
    xcb_connection_t* connection = qtX11Connection();
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, id,
                        internAtom(connection, "_NET_WM_DESKTOP"), XCB_ATOM_CARDINAL, 32, 1,
                        &kAllDesktops);
    xcb_flush(connection);
}

bool X11FloatingWindows::nativeEventFilter(const QByteArray& /*eventType*/, void* message,
                                           qintptr* /*result*/) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) != XCB_CLIENT_MESSAGE) {
        return false;
    }
    const auto* drag = static_cast<const xcb_client_message_event_t*>(message);
    if (std::find(m_windows.begin(), m_windows.end(), drag->window) == m_windows.end()) {
        return false;
    }
    // KWin lets only the active window read a native drag's data: a window of ours takes the
    // focus while such a drag is over it, and gives it back to where it was when the drag
    // leaves, or once its drop is handled.
    xcb_connection_t* connection = qtX11Connection();
    if (drag->type == internAtom(connection, "XdndEnter")) {
        // Where the focus was before the first of these drags: one whose source went without a
        // word (no leave, no drop) left it taken, and it goes back there still.
        if (!m_focusBefore) {
            m_focusBefore = xcb_get_input_focus(connection);
        }
        xcb_set_input_focus(connection, XCB_INPUT_FOCUS_PARENT, drag->window, XCB_CURRENT_TIME);
        xcb_flush(connection);
    } else if (drag->type == internAtom(connection, "XdndLeave")) {
        giveFocusBack();
    } else if (drag->type == internAtom(connection, "XdndDrop")) {
        // Qt reads the data as it handles this message: afterwards.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [this, window = drag->window] {
                giveFocusBack();
                handActivationBack(window);
            },
            Qt::QueuedConnection);
    }
    return false;
}

void X11FloatingWindows::handActivationBack(std::uint32_t window) {
    // KWin 6.7 makes the window a drop lands in the active one itself, and keeps it so whatever
    // the focus does afterwards. Withdrawn, a window is active no more: the window manager
    // activates the one before it, and the window comes back at once, shown as it was.
    const QList<QWindow*> windows = QGuiApplication::allWindows();
    const auto shown = std::find_if(windows.begin(), windows.end(), [window](const QWindow* each) {
        return each->winId() == window && each->isVisible();
    });
    xcb_connection_t* connection = qtX11Connection();
    if (shown == windows.end() || connection == nullptr) {
        return;
    }
    xcb_unmap_window(connection, window);
    xcb_map_window(connection, window);
    xcb_flush(connection);
}

void X11FloatingWindows::giveFocusBack() {
    xcb_connection_t* connection = qtX11Connection();
    if (!m_focusBefore || connection == nullptr) {
        return;
    }
    const XcbReply<xcb_get_input_focus_reply_t> before(
        xcb_get_input_focus_reply(connection, *std::exchange(m_focusBefore, std::nullopt), nullptr),
        &std::free);
    if (before && std::find(m_windows.begin(), m_windows.end(), before->focus) == m_windows.end()) {
        xcb_set_input_focus(connection, before->revert_to, before->focus, XCB_CURRENT_TIME);
        xcb_flush(connection);
    }
}

} // namespace verrabel
