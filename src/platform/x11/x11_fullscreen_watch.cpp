#include "x11_fullscreen_watch.h"

#include "platform/coordinates.h"
#include "x_pixels.h"
#include "xcb_calls.h"

#include <QGuiApplication>
#include <QScreen>
#include <QSocketNotifier>

#include <xcb/xcbext.h>

#include <cstdlib>

namespace verrabel {

namespace {

/// The answer to `request` once it has come: true with `reply` set, or set to null where the
/// server answered with an error (the window went); false while it is still to come.
template <typename Reply>
bool answered(xcb_connection_t* x, unsigned int request, XcbReply<Reply>& reply) {
    void* answer = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (xcb_poll_for_reply(x, request, &answer, &error) == 0) {
        return false;
    }
    std::free(error);
    reply.reset(static_cast<Reply*>(answer));
    return true;
}

/// The window a structure event of a window of its own tells of; none for other events.
xcb_window_t windowOf(const xcb_generic_event_t* event, std::uint8_t type) {
    switch (type) {
    case XCB_CONFIGURE_NOTIFY:
        return reinterpret_cast<const xcb_configure_notify_event_t*>(event)->window;
    case XCB_MAP_NOTIFY:
        return reinterpret_cast<const xcb_map_notify_event_t*>(event)->window;
    case XCB_UNMAP_NOTIFY:
        return reinterpret_cast<const xcb_unmap_notify_event_t*>(event)->window;
    case XCB_DESTROY_NOTIFY:
        return reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window;
    default:
        return XCB_NONE;
    }
}

/// X pixels in Qt's global coordinates, by the screen their centre is on; none off every screen.
std::optional<QRectF> fromPixels(const QRectF& pixels) {
    const QScreen* screen = screenOfPixel(pixels.center());
    if (screen == nullptr) {
        return std::nullopt;
    }
    return QRectF(fromPixel(pixels.topLeft(), *screen), pixels.size() / screen->devicePixelRatio());
}

template <typename Cookie>
void forget(xcb_connection_t* x, std::optional<Cookie>& asked) {
    if (asked) {
        xcb_discard_reply(x, asked->sequence);
        asked.reset();
    }
}

} // namespace

X11FullscreenWatch::X11FullscreenWatch() {
    int screen = 0;
    m_x = xcb_connect(nullptr, &screen);
    if (xcb_connection_has_error(m_x) != 0) {
        xcb_disconnect(m_x);
        m_x = nullptr;
        return;
    }
    xcb_screen_iterator_t roots = xcb_setup_roots_iterator(xcb_get_setup(m_x));
    for (int i = 0; i < screen && roots.rem > 0; ++i) {
        xcb_screen_next(&roots);
    }
    m_root = roots.data->root;
    const std::vector<xcb_atom_t> atoms =
        internAtoms(m_x, {"_NET_ACTIVE_WINDOW", "_NET_WM_STATE", "_NET_WM_STATE_FULLSCREEN",
                          "_NET_WM_STATE_HIDDEN"});
    m_activeAtom = atoms.at(0);
    m_stateAtom = atoms.at(1);
    m_fullscreenAtom = atoms.at(2);
    m_hiddenAtom = atoms.at(3);
    const std::uint32_t rootEvents = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(m_x, m_root, XCB_CW_EVENT_MASK, &rootEvents);
    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_x), QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, this,
                     &X11FullscreenWatch::readEvents);
    askActiveWindow();
}

X11FullscreenWatch::~X11FullscreenWatch() {
    m_notifier.reset();
    if (m_x != nullptr) {
        xcb_disconnect(m_x);
    }
}

void X11FullscreenWatch::readEvents() {
    // Asking for replies may read events off the socket too: those are taken before returning,
    // as the socket will not tell of them again.
    xcb_generic_event_t* event = xcb_poll_for_event(m_x);
    do {
        for (; event != nullptr; event = xcb_poll_for_queued_event(m_x)) {
            handle(*event);
            std::free(event);
        }
        takeReplies();
        event = xcb_poll_for_queued_event(m_x);
    } while (event != nullptr);
    if (xcb_connection_has_error(m_x) != 0) {
        m_notifier->setEnabled(false); // the X server went: nothing more to learn
        conclude(std::nullopt);
    }
}

void X11FullscreenWatch::handle(const xcb_generic_event_t& event) {
    const auto type = static_cast<std::uint8_t>(event.response_type & 0x7f);
    if (type == XCB_PROPERTY_NOTIFY) {
        const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(&event);
        if (change->window == m_root && change->atom == m_activeAtom) {
            askActiveWindow();
        } else if (change->window == m_active && change->atom == m_stateAtom) {
            askAboutActive();
        }
    } else if (windowOf(&event, type) == m_active && m_active != XCB_NONE) {
        // A window manager may leave a destroyed window named active: nothing is then.
        if (type == XCB_DESTROY_NOTIFY) {
            m_active = XCB_NONE;
        }
        askAboutActive(); // moved to another screen, resized, hidden or shown again
    }
}

void X11FullscreenWatch::askActiveWindow() {
    forget(m_x, m_activeAsked);
    m_activeAsked = xcb_get_property(m_x, 0, m_root, m_activeAtom, XCB_ATOM_WINDOW, 0, 1);
    xcb_flush(m_x);
}

void X11FullscreenWatch::askAboutActive() {
    forget(m_x, m_stateAsked);
    forget(m_x, m_sizeAsked);
    forget(m_x, m_placeAsked);
    if (m_active == XCB_NONE) {
        conclude(std::nullopt);
        return;
    }
    constexpr std::uint32_t kMostStates = 64;
    m_stateAsked = xcb_get_property(m_x, 0, m_active, m_stateAtom, XCB_ATOM_ATOM, 0, kMostStates);
    m_sizeAsked = xcb_get_geometry(m_x, m_active);
    m_placeAsked = xcb_translate_coordinates(m_x, m_active, m_root, 0, 0);
    xcb_flush(m_x);
}

void X11FullscreenWatch::takeReplies() {
    if (m_activeAsked) {
        XcbReply<xcb_get_property_reply_t> active = xcbReply<xcb_get_property_reply_t>(nullptr);
        if (answered(m_x, m_activeAsked->sequence, active)) {
            m_activeAsked.reset();
            const bool named = active && active->type == XCB_ATOM_WINDOW &&
                               xcb_get_property_value_length(active.get()) >= 4;
            follow(named ? *static_cast<xcb_window_t*>(xcb_get_property_value(active.get()))
                         : XCB_NONE);
        }
    }
    if (!m_stateAsked || !m_sizeAsked || !m_placeAsked) {
        return;
    }
    // The three answers come in the order asked: the last one there means all are.
    XcbReply<xcb_translate_coordinates_reply_t> place =
        xcbReply<xcb_translate_coordinates_reply_t>(nullptr);
    if (!answered(m_x, m_placeAsked->sequence, place)) {
        return;
    }
    XcbReply<xcb_get_property_reply_t> state = xcbReply<xcb_get_property_reply_t>(nullptr);
    XcbReply<xcb_get_geometry_reply_t> size = xcbReply<xcb_get_geometry_reply_t>(nullptr);
    answered(m_x, m_stateAsked->sequence, state);
    answered(m_x, m_sizeAsked->sequence, size);
    m_stateAsked.reset();
    m_sizeAsked.reset();
    m_placeAsked.reset();
    // Fullscreen and not minimised.
    bool fullscreen = false;
    bool hidden = false;
    if (state && state->type == XCB_ATOM_ATOM) {
        const auto* states = static_cast<const xcb_atom_t*>(xcb_get_property_value(state.get()));
        const int count = xcb_get_property_value_length(state.get()) / 4;
        for (int i = 0; i < count; ++i) {
            fullscreen = fullscreen || states[i] == m_fullscreenAtom;
            hidden = hidden || states[i] == m_hiddenAtom;
        }
    }
    fullscreen = fullscreen && !hidden;
    if (!fullscreen || !size || !place) {
        conclude(std::nullopt);
        return;
    }
    const QScreen* primary = QGuiApplication::primaryScreen();
    const std::optional<QRectF> frame =
        fromPixels(QRectF(place->dst_x, place->dst_y, size->width, size->height));
    conclude(primary != nullptr && frame
                 ? std::optional(coordinates::fromQt(*frame, primary->geometry()))
                 : std::nullopt);
}

void X11FullscreenWatch::follow(xcb_window_t window) {
    if (window != m_active) {
        // Another client's window: what this connection hears of it, and nothing else.
        const std::uint32_t none = XCB_EVENT_MASK_NO_EVENT;
        const std::uint32_t watched =
            XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        if (m_active != XCB_NONE) {
            xcb_change_window_attributes(m_x, m_active, XCB_CW_EVENT_MASK, &none);
        }
        if (window != XCB_NONE) {
            xcb_change_window_attributes(m_x, window, XCB_CW_EVENT_MASK, &watched);
        }
        m_active = window;
    }
    askAboutActive();
}

void X11FullscreenWatch::conclude(std::optional<QRectF> frame) {
    if (frame != m_frame) {
        m_frame = frame;
        Q_EMIT changed();
    }
}

} // namespace verrabel
