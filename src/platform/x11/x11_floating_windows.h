#pragma once

#include "platform/display.h"

#include <QAbstractNativeEventFilter>

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace verrabel {

/// Floating windows on X11. Bypassing the window manager (override-redirect) gives a window all
/// it needs on X11 and on most Wayland compositors. KWin on Xwayland hands drags from native
/// windows only to windows it manages, and their data only to the active one: there the window
/// is a dock kept above the others, which takes the focus while such a drag is over it and gives
/// it back to where it was when the drag leaves or its drop is taken, the activation too.
class X11FloatingWindows final : public FloatingWindows, private QAbstractNativeEventFilter {
public:
    /// Docks managed by the window manager, or windows that bypass it.
    explicit X11FloatingWindows(bool managed);
    ~X11FloatingWindows() override;
    X11FloatingWindows(const X11FloatingWindows&) = delete;
    X11FloatingWindows& operator=(const X11FloatingWindows&) = delete;

    /// Whether the window manager is KWin on Xwayland, which wants managed windows.
    [[nodiscard]] static bool wantsManagedWindows(bool xwayland);

    [[nodiscard]] bool isManaged() const { return m_managed; }
    void setUp(QWidget& window, Stacking stacking) override;

private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void giveFocusBack();
    void handActivationBack(std::uint32_t window);

    bool m_managed;
    std::vector<std::uint32_t> m_windows;
    /// Asked when a drag entered a window of ours and took the focus: where it was before.
    std::optional<xcb_get_input_focus_cookie_t> m_focusBefore;
};

} // namespace verrabel
