#pragma once

#include "platform/display.h"

#include <xcb/xcb.h>

#include <memory>
#include <optional>

class QSocketNotifier;

namespace verrabel {

/// The active window's fullscreen state from the window manager's own hints: the root window's
/// _NET_ACTIVE_WINDOW and that window's _NET_WM_STATE, both watched for changes on a connection
/// of our own, and asked for without waiting for the answers: nothing is polled, and the main
/// thread never waits on the X server. Through Xwayland it sees X windows only.
class X11FullscreenWatch final : public FullscreenWatch {
    Q_OBJECT
public:
    X11FullscreenWatch();
    ~X11FullscreenWatch() override;
    X11FullscreenWatch(const X11FullscreenWatch&) = delete;
    X11FullscreenWatch& operator=(const X11FullscreenWatch&) = delete;

    [[nodiscard]] QList<QRectF> fullscreenFrames() const override {
        return m_frame ? QList<QRectF>{*m_frame} : QList<QRectF>{};
    }

private:
    void readEvents();
    void handle(const xcb_generic_event_t& event);
    void askActiveWindow();
    void askAboutActive();
    void takeReplies();
    void follow(xcb_window_t window);
    void conclude(std::optional<QRectF> frame);

    xcb_connection_t* m_x = nullptr;
    std::unique_ptr<QSocketNotifier> m_notifier;
    xcb_window_t m_root = XCB_NONE;
    xcb_atom_t m_activeAtom = XCB_NONE;
    xcb_atom_t m_stateAtom = XCB_NONE;
    xcb_atom_t m_fullscreenAtom = XCB_NONE;
    xcb_atom_t m_hiddenAtom = XCB_NONE;
    /// The active window, whose changes are watched.
    xcb_window_t m_active = XCB_NONE;
    // Requests whose answers are still to come; a newer question makes older answers moot.
    std::optional<xcb_get_property_cookie_t> m_activeAsked;
    std::optional<xcb_get_property_cookie_t> m_stateAsked;
    std::optional<xcb_get_geometry_cookie_t> m_sizeAsked;
    std::optional<xcb_translate_coordinates_cookie_t> m_placeAsked;
    std::optional<QRectF> m_frame;
};

} // namespace verrabel
