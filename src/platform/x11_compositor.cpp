#include "x11_compositor.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <string_view>

namespace verrabel {

namespace {

template <typename T>
using XcbReply = std::unique_ptr<T, decltype(&std::free)>;

} // namespace

bool X11Compositor::isActive() const {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (x11 == nullptr) {
        return true; // not X11: every other window system composites
    }
    xcb_connection_t* connection = x11->connection();
    if (m_selection == 0) {
        constexpr std::string_view kName = "_NET_WM_CM_S0";
        const XcbReply<xcb_intern_atom_reply_t> atom(
            xcb_intern_atom_reply(connection,
                                  xcb_intern_atom(connection, 0,
                                                  static_cast<std::uint16_t>(kName.size()),
                                                  kName.data()),
                                  nullptr),
            &std::free);
        if (!atom) {
            return false;
        }
        m_selection = atom->atom;
    }
    const XcbReply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, m_selection),
                                      nullptr),
        &std::free);
    return owner && owner->owner != XCB_NONE;
}

} // namespace verrabel
