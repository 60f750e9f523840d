#pragma once

#include "platform/display.h"

#include <QObject>

namespace verrabel {

/// Windows as layer surfaces on the overlay layer (above every window) or the top layer (under
/// an active fullscreen one), on every workspace, never given the keyboard, reserving nothing. A
/// layer surface has no position of its own: it is anchored to its screen's top-left corner, and
/// whatever geometry Verrabel gives the window becomes the screen and the margins from that corner.
class LayerShellWindows final : public QObject, public FloatingWindows {
    Q_OBJECT
public:
    void setUp(QWidget& window, Stacking stacking) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static void place(QWidget& window);
};

} // namespace verrabel
