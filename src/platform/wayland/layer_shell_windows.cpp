#include "layer_shell_windows.h"

#include <QEvent>
#include <QGuiApplication>
#include <QPointer>
#include <QScreen>
#include <QWidget>
#include <QWindow>

#include <LayerShellQt/Window>

namespace verrabel {

void LayerShellWindows::setUp(QWidget& window, Stacking stacking) {
    window.setWindowFlags(Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
    window.setAttribute(Qt::WA_ShowWithoutActivating);
    // The layer surface is set up on the window before it is first shown.
    window.winId();
    auto* layer = LayerShellQt::Window::get(window.windowHandle());
    layer->setScope(QStringLiteral("verrabel"));
    // Compositors keep an active fullscreen window in front of the top layer, under the overlay.
    layer->setLayer(stacking == Stacking::AboveAll ? LayerShellQt::Window::LayerOverlay
                                                   : LayerShellQt::Window::LayerTop);
    layer->setKeyboardInteractivity(LayerShellQt::Window::KeyboardInteractivityNone);
    // Placed from the screen's very corner: a bar's reserved band is Verrabel's to hang from.
    layer->setExclusiveZone(-1);
    layer->setAnchors({LayerShellQt::Window::AnchorTop | LayerShellQt::Window::AnchorLeft});
    window.installEventFilter(this);
    place(window);
}

bool LayerShellWindows::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Move || event->type() == QEvent::Resize ||
        event->type() == QEvent::Show) {
        place(*static_cast<QWidget*>(watched));
    }
    return false;
}

void LayerShellWindows::place(QWidget& window) {
    QWindow* handle = window.windowHandle();
    if (handle == nullptr) {
        return;
    }
    const QRect geometry = window.geometry();
    QScreen* screen = QGuiApplication::screenAt(geometry.center());
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen == nullptr) {
        return;
    }
    // The screen is taken when the surface is made: a shown one is made again there.
    if (handle->screen() != screen) {
        handle->setScreen(screen);
        if (window.isVisible()) {
            QMetaObject::invokeMethod(
                &window,
                [shown = QPointer<QWidget>(&window)] {
                    if (shown && shown->isVisible()) {
                        shown->hide();
                        shown->show();
                    }
                },
                Qt::QueuedConnection);
        }
    }
    const QPoint offset = geometry.topLeft() - screen->geometry().topLeft();
    LayerShellQt::Window::get(handle)->setMargins({offset.x(), offset.y(), 0, 0});
}

} // namespace verrabel
