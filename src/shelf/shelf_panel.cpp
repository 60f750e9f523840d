#include "shelf_panel.h"

#include "drop_view.h"
#include "platform/display.h"

namespace verrabel {

ShelfPanel::ShelfPanel(const Screens& screens, const Compositor& compositor,
                       FloatingWindows& floating)
    : m_screens(screens)
    , m_compositor(compositor) {
    // Before the window may be made: its colours with alpha are chosen then.
    setAttribute(Qt::WA_TranslucentBackground);
    floating.setUp(*this, Stacking::AboveAll);
    setWindowTitle(QStringLiteral("Verrabel"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    // The panel is never the active window, and Qt shows tooltips only for the active one.
    setAttribute(Qt::WA_AlwaysShowToolTips);
    setFocusPolicy(Qt::NoFocus);
}

void ShelfPanel::setContentView(DropView* root) {
    m_root = root;
    m_root->setGeometry(rect());
}

void ShelfPanel::setFrame(const QRectF& frame) {
    m_frame = frame;
    setGeometry(m_screens.toWindowGeometry(frame));
}

void ShelfPanel::orderFrontRegardless() {
    show();
    raise();
}

void ShelfPanel::orderOut() {
    hide();
}

void ShelfPanel::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    updateShape();
}

void ShelfPanel::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    updateShape();
}

void ShelfPanel::updateShape() {
    // A compositor blends the anti-aliased corners with what lies behind; without one the
    // transparent corners would come out black, so cut them off.
    if (m_root == nullptr || m_compositor.isActive()) {
        clearMask();
        return;
    }
    setMask(m_root->shape());
}

} // namespace verrabel
