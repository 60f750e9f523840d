#include "kde_screen_edge.h"

#include "kde-screen-edge-v1-client-protocol.h"

#include <QEvent>
#include <QGuiApplication>
#include <QtGui/qpa/qplatformwindow_p.h>

#include <cstring>
#include <wayland-client-protocol.h>

namespace verrabel {

namespace {

using WaylandWindow = QNativeInterface::Private::QWaylandWindow;

void noteGlobal(void* edge, wl_registry* registry, std::uint32_t name, const char* interface,
                std::uint32_t /*version*/) {
    static_cast<KdeScreenEdge*>(edge)->offered(registry, name, interface);
}

void forgetGlobal(void* /*edge*/, wl_registry* /*registry*/, std::uint32_t /*name*/) {}

const wl_registry_listener kGlobals{&noteGlobal, &forgetGlobal};

} // namespace

KdeScreenEdge::KdeScreenEdge() {
    auto* wayland = qGuiApp->nativeInterface<QNativeInterface::QWaylandApplication>();
    if (wayland == nullptr || wayland->display() == nullptr) {
        return;
    }
    // The globals come with Qt's next dispatch, on the main thread, before any window is shown.
    m_registry = wl_display_get_registry(wayland->display());
    wl_registry_add_listener(m_registry, &kGlobals, this);
}

KdeScreenEdge::~KdeScreenEdge() {
    dropEdge();
    if (m_manager != nullptr) {
        kde_screen_edge_manager_v1_destroy(m_manager);
    }
    if (m_registry != nullptr) {
        wl_registry_destroy(m_registry);
    }
}

void KdeScreenEdge::offered(wl_registry* registry, std::uint32_t name, const char* interface) {
    if (m_manager == nullptr &&
        std::strcmp(interface, kde_screen_edge_manager_v1_interface.name) == 0) {
        m_manager = static_cast<kde_screen_edge_manager_v1*>(
            wl_registry_bind(registry, name, &kde_screen_edge_manager_v1_interface, 1));
        if (m_armed) {
            activate();
        }
    }
}

void KdeScreenEdge::arm(QWindow& window) {
    if (m_window != &window) {
        dropEdge();
        follow(window);
    }
    m_armed = true;
    activate();
}

void KdeScreenEdge::disarm() {
    m_armed = false;
    // Destroyed, the edge shows the window for good; deactivated, it would still hold it.
    dropEdge();
}

void KdeScreenEdge::follow(QWindow& window) {
    if (m_window) {
        m_window->removeEventFilter(this);
        disconnect(m_roleGone);
    }
    m_window = &window;
    window.installEventFilter(this);
    if (auto* wayland = window.nativeInterface<WaylandWindow>()) {
        // The edge is the layer surface's: it goes before the surface does.
        m_roleGone =
            connect(wayland, &WaylandWindow::surfaceRoleDestroyed, this, &KdeScreenEdge::dropEdge);
    }
}

bool KdeScreenEdge::eventFilter(QObject* watched, QEvent* event) {
    // KWin takes an edge only for a surface that is a layer surface already, that is, shown.
    if (watched == m_window && event->type() == QEvent::Expose && m_armed && m_edge == nullptr) {
        activate();
    }
    return false;
}

void KdeScreenEdge::activate() {
    if (m_manager == nullptr || !m_window || !m_window->isExposed()) {
        return;
    }
    if (m_edge == nullptr) {
        auto* wayland = m_window->nativeInterface<WaylandWindow>();
        if (wayland == nullptr || wayland->surface() == nullptr) {
            return;
        }
        m_edge = kde_screen_edge_manager_v1_get_auto_hide_screen_edge(
            m_manager, KDE_SCREEN_EDGE_MANAGER_V1_BORDER_TOP, wayland->surface());
    }
    kde_auto_hide_screen_edge_v1_activate(m_edge);
}

void KdeScreenEdge::dropEdge() {
    if (m_edge != nullptr) {
        kde_auto_hide_screen_edge_v1_destroy(m_edge);
        m_edge = nullptr;
    }
}

} // namespace verrabel
