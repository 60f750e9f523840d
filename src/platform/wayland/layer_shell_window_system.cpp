// Verrabel as a native Wayland client: its windows are layer surfaces, Qt's Wayland platform
// takes drops, rows leave by a drag source of Verrabel's own, and nothing promises files (X
// Direct Save is an X11 protocol).

#include "kde_screen_edge.h"
#include "layer_shell_windows.h"
#include "platform/file_promises.h"
#include "platform/window_system.h"
#include "wayland_file_drags.h"
#include "wayland_pointer.h"
#include "wayland_session.h"

#include <QMimeData>
#include <QWidget>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <wayland-client.h>

namespace verrabel {

namespace {

class NoFilePromises final : public FilePromises {
public:
    [[nodiscard]] bool offers(const QMimeData& /*data*/) const override { return false; }
    [[nodiscard]] QList<std::shared_ptr<FilePromise>>
    receivers(const QMimeData& /*data*/) override {
        return {};
    }
    // Qt keeps a native drop's data offer to itself: the key is read through it, at once.
    bool readTransferKey(const QMimeData& /*data*/, TransferKeyRead /*read*/) override {
        return false;
    }
};

class Composited final : public Compositor {
public:
    [[nodiscard]] bool isActive() const override { return true; }
};

/// Natively, the compositor keeps an active fullscreen window in front of the edge's surface,
/// which is on the top layer: nothing to tell the shelf.
class CompositorStacksFullscreen final : public FullscreenWatch {
public:
    [[nodiscard]] QList<QRectF> fullscreenFrames() const override { return {}; }
};

class LayerShellWindowSystem final : public WindowSystem {
public:
    explicit LayerShellWindowSystem(const WindowSystemNeeds& needs)
        : m_pointer(needs.screens, m_windows, [] { return std::make_unique<KdeScreenEdge>(); })
        , m_drags(needs.transfers, needs.queues) {}

    Pointer& pointer() override { return m_pointer; }
    MotionWatch& motion() override { return m_pointer; }
    FloatingWindows& floating() override { return m_windows; }
    Compositor& compositor() override { return m_compositor; }
    FileDrags& drags() override { return m_drags; }
    FilePromises& promises() override { return m_promises; }
    FullscreenWatch& fullscreen() override { return m_fullscreen; }

private:
    LayerShellWindows m_windows;
    WaylandPointer m_pointer;
    Composited m_compositor;
    WaylandFileDrags m_drags;
    NoFilePromises m_promises;
    CompositorStacksFullscreen m_fullscreen;
};

void noteGlobal(void* found, wl_registry* /*registry*/, std::uint32_t /*name*/,
                const char* interface, std::uint32_t /*version*/) {
    if (std::strcmp(interface, "zwlr_layer_shell_v1") == 0) {
        *static_cast<bool*>(found) = true;
    }
}

void forgetGlobal(void* /*found*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}

void noteDone(void* answered, wl_callback* /*callback*/, std::uint32_t /*data*/) {
    *static_cast<bool*>(answered) = true;
}

constexpr std::chrono::milliseconds kProbeTimeout{1000};

} // namespace

std::unique_ptr<WindowSystem> makeLayerShellWindowSystem(const WindowSystemNeeds& needs) {
    return std::make_unique<LayerShellWindowSystem>(needs);
}

bool layerShellBuilt() {
    return true;
}

bool compositorOffersLayerShell() {
    wl_display* display = wl_display_connect(nullptr);
    if (display == nullptr) {
        return false;
    }
    bool found = false;
    bool answered = false;
    const wl_registry_listener globals{&noteGlobal, &forgetGlobal};
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &globals, &found);
    // The compositor lists its globals before it answers the sync that follows.
    const wl_callback_listener done{&noteDone};
    wl_callback* sync = wl_display_sync(display);
    wl_callback_add_listener(sync, &done, &answered);
    // A compositor that does not answer (stopped) must not hold up the start for long.
    const auto deadline = std::chrono::steady_clock::now() + kProbeTimeout;
    while (!answered && std::chrono::steady_clock::now() < deadline) {
        while (wl_display_prepare_read(display) != 0) {
            wl_display_dispatch_pending(display);
        }
        wl_display_flush(display);
        pollfd readable{wl_display_get_fd(display), POLLIN, 0};
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (::poll(&readable, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0))) > 0) {
            wl_display_read_events(display);
            wl_display_dispatch_pending(display);
        } else {
            wl_display_cancel_read(display);
            break;
        }
    }
    wl_callback_destroy(sync);
    wl_registry_destroy(registry);
    wl_display_disconnect(display);
    return answered && found;
}

} // namespace verrabel
