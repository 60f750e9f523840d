#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace verrabel {

/// The connection Qt's xcb platform talks to the X server on; null on any other platform.
[[nodiscard]] xcb_connection_t* qtX11Connection();

/// A reply that xcb allocated for the caller.
template <typename T>
using XcbReply = std::unique_ptr<T, decltype(&std::free)>;

template <typename T>
[[nodiscard]] XcbReply<T> xcbReply(T* reply) {
    return {reply, &std::free};
}

/// The atoms of these names, in one round trip for the names not asked for before;
/// XCB_ATOM_NONE where the server gave none. Atoms belong to the X server, and Verrabel talks to
/// one, so they are kept for every connection and thread.
[[nodiscard]] std::vector<xcb_atom_t> internAtoms(xcb_connection_t* connection,
                                                  std::initializer_list<std::string_view> names);
[[nodiscard]] xcb_atom_t internAtom(xcb_connection_t* connection, std::string_view name);

/// Tells a drag's source that its drop on our window `target` is finished: taken as a copy, or
/// not taken. Sent at once.
void sendDropFinished(xcb_connection_t* connection, xcb_window_t source, xcb_window_t target,
                      bool taken);

/// Whether some client owns the selection, such as a tray's or a compositor's.
[[nodiscard]] bool selectionOwned(xcb_connection_t* connection, std::string_view selection);

/// The name the running window manager gives itself (_NET_WM_NAME of its check window, such as
/// "KWin" or "GNOME Shell"); empty without one.
[[nodiscard]] std::string windowManagerName(xcb_connection_t* connection);

} // namespace verrabel
