#pragma once

#include "platform/display.h"

namespace verrabel {

class GnomeShellLink;

/// Fullscreen windows in GNOME: the extension sees native ones as well as X ones; without it,
/// only what `x11` sees from Xwayland is known.
class ShellFullscreenWatch final : public FullscreenWatch {
    Q_OBJECT
public:
    ShellFullscreenWatch(GnomeShellLink& shell, FullscreenWatch& x11);

    [[nodiscard]] QList<QRectF> fullscreenFrames() const override;

private:
    GnomeShellLink& m_shell;
    FullscreenWatch& m_x11;
};

} // namespace verrabel
