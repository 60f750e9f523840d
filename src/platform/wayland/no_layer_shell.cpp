// A build without layer-shell-qt: Wayland sessions get Verrabel through Xwayland.

#include "platform/window_system.h"
#include "wayland_session.h"

namespace verrabel {

std::unique_ptr<WindowSystem> makeLayerShellWindowSystem(const WindowSystemNeeds& /*needs*/) {
    return nullptr;
}

bool layerShellBuilt() {
    return false;
}

bool compositorOffersLayerShell() {
    return false;
}

} // namespace verrabel
