#pragma once

#include <QRectF>
#include <QWidget>

namespace verrabel {

class Compositor;
class DropView;
class FloatingWindows;
class Screens;

/// The shelf's borderless window. It floats above every other window on every desktop, stays
/// out of the taskbar and window switching, never takes keyboard focus and cannot be dragged
/// around. Its frame is kept in global points, y up.
class ShelfPanel final : public QWidget {
    Q_OBJECT
public:
    ShelfPanel(const Screens& screens, const Compositor& compositor, FloatingWindows& floating);

    /// The root view fills the panel and gives it its shape.
    void setContentView(DropView* root);

    void setFrame(const QRectF& frame);
    [[nodiscard]] QRectF frame() const { return m_frame; }

    /// Puts the panel on screen in front of everything, without activating the application.
    void orderFrontRegardless();
    /// Takes the panel off screen.
    void orderOut();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void updateShape();

    const Screens& m_screens;
    const Compositor& m_compositor;
    DropView* m_root = nullptr;
    QRectF m_frame;
};

} // namespace verrabel
