#pragma once

namespace verrabel {

/// Whether the Wayland compositor that WAYLAND_DISPLAY names offers layer surfaces
/// (zwlr_layer_shell_v1); false without one, or in a build without the layer-shell backend.
[[nodiscard]] bool compositorOffersLayerShell();

} // namespace verrabel
