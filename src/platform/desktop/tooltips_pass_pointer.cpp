#include "tooltips_pass_pointer.h"

#include <QCoreApplication>
#include <QEvent>
#include <QWidget>
#include <QWindow>

namespace verrabel {

TooltipsPassPointer::TooltipsPassPointer() {
    QCoreApplication::instance()->installEventFilter(this);
}

bool TooltipsPassPointer::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Show && watched->isWidgetType()) {
        auto* widget = static_cast<QWidget*>(watched);
        if (widget->windowType() == Qt::ToolTip && widget->windowHandle() != nullptr) {
            widget->windowHandle()->setFlag(Qt::WindowTransparentForInput);
        }
    }
    return false;
}

} // namespace verrabel
