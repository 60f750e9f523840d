#include "x11_display.h"

#include <xcb/xcb.h>

namespace verrabel {

bool x11DisplayOpens() {
    xcb_connection_t* x11 = xcb_connect(nullptr, nullptr);
    const bool opened = xcb_connection_has_error(x11) == 0;
    xcb_disconnect(x11);
    return opened;
}

} // namespace verrabel
