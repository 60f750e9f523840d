#include "shell_fullscreen_watch.h"

#include "gnome_shell_link.h"
#include "platform/coordinates.h"
#include "platform/desktop/qt_display.h"

namespace verrabel {

ShellFullscreenWatch::ShellFullscreenWatch(GnomeShellLink& shell, FullscreenWatch& x11)
    : m_shell(shell)
    , m_x11(x11) {
    connect(&m_shell, &GnomeShellLink::presenceChanged, this, &FullscreenWatch::changed);
    connect(&m_shell, &GnomeShellLink::stateChanged, this, &FullscreenWatch::changed);
    connect(&m_x11, &FullscreenWatch::changed, this, [this] {
        if (!m_shell.present()) {
            Q_EMIT changed();
        }
    });
}

std::optional<QRectF> ShellFullscreenWatch::activeFullscreen() const {
    if (!m_shell.present()) {
        return m_x11.activeFullscreen();
    }
    // The extension speaks of its primary monitor, which is Qt's primary screen.
    const QRect primary = primaryGeometry();
    if (!m_shell.fullscreen() || primary.isEmpty()) {
        return std::nullopt;
    }
    return coordinates::fromQt(QRectF(primary), primary);
}

} // namespace verrabel
