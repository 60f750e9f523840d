#include "xcb_calls.h"

#include <map>
#include <mutex>
#include <string>

namespace verrabel {

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

} // namespace verrabel
