#include "x11_floating_windows.h"

#include "xcb_calls.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QWidget>

#include <algorithm>

namespace verrabel {

namespace {

constexpr Qt::WindowFlags kFloating =
    Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;
constexpr std::uint32_t kAllDesktops = 0xFFFFFFFF;

xcb_connection_t* qtConnection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

} // namespace

X11FloatingWindows::X11FloatingWindows(bool managed)
    : m_managed(managed) {
    if (m_managed) {
        QCoreApplication::instance()->installNativeEventFilter(this);
    }
}

X11FloatingWindows::~X11FloatingWindows() = default;

bool X11FloatingWindows::wantsManagedWindows(bool xwayland) {
    xcb_connection_t* connection = qtConnection();
    return xwayland && connection != nullptr && windowManagerName(connection) == "KWin";
}

void X11FloatingWindows::setUp(QWidget& window) {
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
    xcb_connection_t* connection = qtConnection();
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
    // KWin lets only the active window read a drag's data from a native window: when one enters
    // a window of ours, that window takes the focus, which it never asks for otherwise.
    const auto* drag = static_cast<const xcb_client_message_event_t*>(message);
    xcb_connection_t* connection = qtConnection();
    if (std::find(m_windows.begin(), m_windows.end(), drag->window) != m_windows.end() &&
        drag->type == internAtom(connection, "XdndEnter")) {
        xcb_set_input_focus(connection, XCB_INPUT_FOCUS_PARENT, drag->window, XCB_CURRENT_TIME);
        xcb_flush(connection);
    }
    return false;
}

} // namespace verrabel
