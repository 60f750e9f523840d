#include "held_drops.h"
#include "platform/desktop/qt_display.h"
#include "platform/gnome_shell/shell_edge_pointer.h"
#include "platform/gnome_shell/shell_fullscreen_watch.h"
#include "platform/window_system.h"
#include "x11_compositor.h"
#include "x11_file_drags.h"
#include "x11_floating_windows.h"
#include "x11_fullscreen_watch.h"
#include "x11_motion_watch.h"
#include "x11_transfer_keys.h"
#include "xds_promises.h"
#include "xwayland_pointer.h"

namespace verrabel {

namespace {

class X11WindowSystem final : public WindowSystem {
public:
    explicit X11WindowSystem(const WindowSystemNeeds& needs)
        : m_xwayland(m_onXwayland
                         ? std::make_unique<XwaylandPointer>(needs.screens, m_floating.isManaged())
                         : nullptr)
        , m_drags(needs.transfers, needs.queues) {
        if (m_xwayland) {
            m_shellPointer = std::make_unique<ShellEdgePointer>(needs.shell, needs.screens,
                                                                *m_xwayland, *m_xwayland);
            m_shellFullscreen = std::make_unique<ShellFullscreenWatch>(needs.shell, m_fullscreen);
        }
    }

    Pointer& pointer() override {
        return m_shellPointer ? static_cast<Pointer&>(*m_shellPointer) : m_x11Pointer;
    }
    MotionWatch& motion() override {
        return m_shellPointer ? static_cast<MotionWatch&>(*m_shellPointer) : m_x11Motion;
    }
    FloatingWindows& floating() override { return m_floating; }
    Compositor& compositor() override { return m_compositor; }
    FileDrags& drags() override { return m_drags; }
    FilePromises& promises() override { return m_promises; }
    FullscreenWatch& fullscreen() override {
        return m_shellFullscreen ? static_cast<FullscreenWatch&>(*m_shellFullscreen) : m_fullscreen;
    }

private:
    // First, so that its filter of X events comes last: it turns a held-back drop into a leave
    // for Qt, and the others are to see the drop.
    X11HeldDrops m_heldDrops;
    X11TransferKeys m_keys{m_heldDrops};
    XdsFilePromises m_promises{m_heldDrops, m_keys};
    const bool m_onXwayland = XwaylandPointer::isXwayland();
    X11FloatingWindows m_floating{X11FloatingWindows::wantsManagedWindows(m_onXwayland)};
    // X11 shows the pointer anywhere, and its RECORD extension hears every motion. Xwayland shows
    // the pointer only over its own windows: a presence window watches where it matters.
    std::unique_ptr<XwaylandPointer> m_xwayland;
    QtPointer m_x11Pointer;
    X11MotionWatch m_x11Motion;
    X11Compositor m_compositor;
    X11FileDrags m_drags;
    X11FullscreenWatch m_fullscreen;
    // In GNOME, its companion extension does better than the strip where it is enabled.
    std::unique_ptr<ShellEdgePointer> m_shellPointer;
    std::unique_ptr<ShellFullscreenWatch> m_shellFullscreen;
};

} // namespace

std::unique_ptr<WindowSystem> makeX11WindowSystem(const WindowSystemNeeds& needs) {
    return std::make_unique<X11WindowSystem>(needs);
}

} // namespace verrabel
