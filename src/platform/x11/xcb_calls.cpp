#include "xcb_calls.h"

#include <QGuiApplication>

#include <map>
#include <mutex>

namespace verrabel {

xcb_connection_t* qtX11Connection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

std::vector<xcb_atom_t> internAtoms(xcb_connection_t* connection,
                                    std::initializer_list<std::string_view> names) {
    static std::mutex guard;
    static std::map<std::string, xcb_atom_t, std::less<>> known;
    const std::scoped_lock lock(guard);
    std::vector<xcb_intern_atom_cookie_t> cookies;
    for (const std::string_view name : names) {
        if (!known.contains(name)) {
            cookies.push_back(xcb_intern_atom(
                connection, 0, static_cast<std::uint16_t>(name.size()), name.data()));
        }
    }
    std::vector<xcb_atom_t> atoms;
    auto cookie = cookies.begin();
    for (const std::string_view name : names) {
        if (const auto found = known.find(name); found != known.end()) {
            atoms.push_back(found->second);
            continue;
        }
        const auto reply = xcbReply(xcb_intern_atom_reply(connection, *cookie++, nullptr));
        atoms.push_back(reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE});
        if (reply) {
            known.emplace(name, reply->atom);
        }
    }
    return atoms;
}

xcb_atom_t internAtom(xcb_connection_t* connection, std::string_view name) {
    return internAtoms(connection, {name}).front();
}

bool selectionOwned(xcb_connection_t* connection, std::string_view selection) {
    const xcb_atom_t atom = internAtom(connection, selection);
    if (atom == XCB_ATOM_NONE) {
        return false;
    }
    const auto owner = xcbReply(xcb_get_selection_owner_reply(
        connection, xcb_get_selection_owner(connection, atom), nullptr));
    return owner && owner->owner != XCB_NONE;
}

std::string windowManagerName(xcb_connection_t* connection) {
    const auto atoms = internAtoms(connection, {"_NET_SUPPORTING_WM_CHECK", "_NET_WM_NAME"});
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const auto check = xcbReply(xcb_get_property_reply(
        connection, xcb_get_property(connection, 0, root, atoms[0], XCB_ATOM_WINDOW, 0, 1),
        nullptr));
    if (!check || xcb_get_property_value_length(check.get()) != sizeof(xcb_window_t)) {
        return {};
    }
    const xcb_window_t window = *static_cast<xcb_window_t*>(xcb_get_property_value(check.get()));
    const auto name = xcbReply(xcb_get_property_reply(
        connection,
        xcb_get_property(connection, 0, window, atoms[1], XCB_GET_PROPERTY_TYPE_ANY, 0, 64),
        nullptr));
    if (!name) {
        return {};
    }
    return {static_cast<const char*>(xcb_get_property_value(name.get())),
            static_cast<std::size_t>(xcb_get_property_value_length(name.get()))};
}

void sendDropFinished(xcb_connection_t* connection, xcb_window_t source, xcb_window_t target,
                      bool taken) {
    xcb_client_message_event_t finished{};
    finished.response_type = XCB_CLIENT_MESSAGE;
    finished.format = 32;
    finished.window = source;
    finished.type = internAtom(connection, "XdndFinished");
    finished.data.data32[0] = target;
    finished.data.data32[1] = taken ? 1 : 0;
    finished.data.data32[2] =
        taken ? internAtom(connection, "XdndActionCopy") : xcb_atom_t{XCB_ATOM_NONE};
    xcb_send_event(connection, 0, source, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&finished));
    xcb_flush(connection);
}

} // namespace verrabel
