#pragma once

#include <memory>

namespace verrabel {

class Compositor;
class FileDrags;
class FilePromises;
class FileTransfers;
class FloatingWindows;
class FullscreenWatch;
class GnomeShellLink;
class MotionWatch;
class Pointer;
class QueueFactory;
class Screens;

/// The services that depend on how Verrabel's windows reach the display: as an X11 client (also
/// through Xwayland), or as a native Wayland client whose windows are layer surfaces.
class WindowSystem {
public:
    virtual ~WindowSystem() = default;
    [[nodiscard]] virtual Pointer& pointer() = 0;
    [[nodiscard]] virtual MotionWatch& motion() = 0;
    [[nodiscard]] virtual FloatingWindows& floating() = 0;
    [[nodiscard]] virtual Compositor& compositor() = 0;
    [[nodiscard]] virtual FileDrags& drags() = 0;
    [[nodiscard]] virtual FilePromises& promises() = 0;
    [[nodiscard]] virtual FullscreenWatch& fullscreen() = 0;
};

/// What the window system is made of and needs from the rest of the platform.
struct WindowSystemNeeds {
    const Screens& screens;
    FileTransfers& transfers;
    QueueFactory& queues;
    /// GNOME's companion extension, for what an X client in GNOME cannot see.
    GnomeShellLink& shell;
};

/// Verrabel as an X11 client; for Qt's xcb platform.
[[nodiscard]] std::unique_ptr<WindowSystem> makeX11WindowSystem(const WindowSystemNeeds& needs);

/// Verrabel as a native Wayland client through layer-shell; for Qt's wayland platform, and only
/// in a build with layer-shell-qt (none otherwise).
[[nodiscard]] std::unique_ptr<WindowSystem>
makeLayerShellWindowSystem(const WindowSystemNeeds& needs);

/// Whether this build has the layer-shell window system.
[[nodiscard]] bool layerShellBuilt();

} // namespace verrabel
