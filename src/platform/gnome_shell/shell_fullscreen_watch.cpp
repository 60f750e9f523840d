#include "shell_fullscreen_watch.h"

#include "gnome_shell_link.h"
#include "platform/coordinates.h"
#include "platform/desktop/qt_display.h"
#include "shell_coordinates.h"

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

QList<QRectF> ShellFullscreenWatch::fullscreenFrames() const {
    if (!m_shell.present()) {
        return m_x11.fullscreenFrames();
    }
    const QRect primary = primaryGeometry();
    const ShellCoordinates shell(m_shell.monitor(), primary);
    QList<QRectF> frames;
    if (!shell.valid()) {
        return frames;
    }
    for (const QRect& monitor : m_shell.fullscreen()) {
        frames.append(coordinates::fromQt(shell.toQt(monitor), primary));
    }
    return frames;
}

} // namespace verrabel
