#include "shell_edge_pointer.h"

#include "gnome_shell_link.h"
#include "platform/desktop/qt_display.h"
#include "shell_coordinates.h"

#include <QGuiApplication>
#include <QWidget>

#include <cstdio>

namespace verrabel {

ShellEdgePointer::ShellEdgePointer(GnomeShellLink& shell, const Screens& screens, Pointer& strip,
                                   MotionWatch& stripMotion)
    : m_shell(shell)
    , m_screens(screens)
    , m_strip(strip)
    , m_stripMotion(stripMotion) {
    connect(&m_shell, &GnomeShellLink::presenceChanged, this, &ShellEdgePointer::presenceChanged);
    // The monitor's place is needed for the edge's.
    connect(&m_shell, &GnomeShellLink::stateChanged, this, &ShellEdgePointer::apply);
    connect(&m_shell, &GnomeShellLink::edgePushed, this, &ShellEdgePointer::pushed);
    connect(&m_shell, &GnomeShellLink::pointerMoved, this, &ShellEdgePointer::moved);
}

std::optional<QPointF> ShellEdgePointer::location() {
    if (!m_shell.present()) {
        return m_strip.location();
    }
    if (m_open) {
        return m_at;
    }
    return std::exchange(m_at, std::nullopt);
}

void ShellEdgePointer::watch(const QList<QRectF>& zones, const QWidget& panel) {
    m_zones = zones;
    m_panel = &panel;
    m_open = panel.isVisible();
    apply();
}

bool ShellEdgePointer::seenOnlyWhereTaken() const {
    return m_shell.present() ? false : m_strip.seenOnlyWhereTaken();
}

bool ShellEdgePointer::awaitMotion(std::function<void()> onMotion) {
    if (!m_shell.present() && !m_stripMotion.awaitMotion([this] { wake(); })) {
        return false;
    }
    m_onMotion = std::move(onMotion);
    return true;
}

void ShellEdgePointer::cancel() {
    m_onMotion = nullptr;
    m_stripMotion.cancel();
}

void ShellEdgePointer::presenceChanged() {
    if (m_shell.known() && !m_told) {
        m_told = true;
        if (qEnvironmentVariable("XDG_CURRENT_DESKTOP").contains(QLatin1String("GNOME"))) {
            std::fputs(m_shell.present()
                           ? "Verrabel：顶部边缘由 GNOME Shell 扩展 verrabel@verrabel.org 提供。\n"
                           : "Verrabel：未启用 GNOME Shell 扩展 verrabel@verrabel.org，顶部边缘"
                             "改用 Xwayland 窄条。\n",
                       stderr);
        }
    }
    m_at.reset();
    m_stripMotion.cancel();
    apply();
    // A napping hover timer looks again, and waits on the right one from now.
    wake();
}

void ShellEdgePointer::apply() {
    if (m_panel == nullptr) {
        return;
    }
    if (!m_shell.present()) {
        m_edgeCount = 0;
        m_strip.watch(m_zones, *m_panel);
        return;
    }
    m_strip.watch({}, *m_panel);
    const ShellCoordinates shell(m_shell.monitor(), primaryGeometry());
    // Collapsed, an edge along each zone, one for each in the zones' order.
    QList<ShellEdge> edges;
    for (const QRectF& each : m_zones) {
        if (m_open || !shell.valid()) {
            break;
        }
        const QRect zone = m_screens.toWindowGeometry(each);
        const bool screenAbove =
            QGuiApplication::screenAt({zone.center().x(), zone.top() - 1}) != nullptr;
        edges.append({shell.toShell(QRectF(zone)), !screenAbove});
    }
    m_edgeCount = edges.size();
    m_shell.watchEdges(edges);
    m_shell.followPointer(m_open);
    if (!m_open) {
        m_at.reset();
    }
}

void ShellEdgePointer::pushed(int index) {
    if (index < 0 || index >= m_edgeCount) {
        return;
    }
    m_at = m_zones[index].center();
    wake();
}

void ShellEdgePointer::moved(const QPointF& shellPosition) {
    const ShellCoordinates shell(m_shell.monitor(), primaryGeometry());
    if (!m_open || !shell.valid()) {
        return;
    }
    m_at = pointOfPixel(shell.toQt(shellPosition));
    wake();
}

void ShellEdgePointer::wake() {
    if (m_onMotion) {
        std::exchange(m_onMotion, nullptr)();
    }
}

} // namespace verrabel
