#include "drop_view.h"

#include "colors.h"
#include "notch_geometry.h"

#include <QEvent>
#include <QPainter>
#include <QPainterPath>

namespace verrabel {

namespace {

constexpr double kRimWidth = 0.5;
constexpr double kRimAlpha = 0.16;
constexpr double kHighlightedRimWidth = 2.0;
// Opaque enough to read on any wallpaper, translucent enough to feel like frosted glass.
constexpr double kFillAlpha = 0.94;

QPainterPath roundedOutline(const QRectF& rect, double radius) {
    QPainterPath path;
    path.addRoundedRect(rect, radius, radius);
    return path;
}

} // namespace

DropView::DropView(FilePromises& promises, QWidget* parent)
    : QWidget(parent)
    , m_promises(promises)
    , m_cornerRadius(notch::kCornerRadius) {
    updateRim();
    setAcceptDrops(true);
}

void DropView::updateRim() {
    m_rimWidth = dropHighlighted ? kHighlightedRimWidth : kRimWidth;
    m_rimColor = dropHighlighted ? colors::accent(palette())
                                 : colors::withAlpha(colors::label(palette()), kRimAlpha);
    update();
}

void DropView::setCornerRadius(double radius) {
    m_cornerRadius = radius;
    update();
}

QRegion DropView::shape() const {
    return {roundedOutline(rect(), m_cornerRadius).toFillPolygon().toPolygon()};
}

void DropView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // The rim is drawn inside the bounds, so that the corners' curve stays the view's own.
    const QRectF outline =
        QRectF(rect()).adjusted(m_rimWidth / 2, m_rimWidth / 2, -m_rimWidth / 2, -m_rimWidth / 2);
    const QPainterPath path = roundedOutline(outline, m_cornerRadius - m_rimWidth / 2);

    const QColor base = palette().color(QPalette::Window);
    QLinearGradient frost(0, 0, 0, height());
    frost.setColorAt(0, colors::withAlpha(base.lighter(104), kFillAlpha));
    frost.setColorAt(1, colors::withAlpha(base, kFillAlpha));
    // Replacing, not blending: where a compositor scales the window by a fraction, Qt does not
    // always clear a repainted part first, and the translucent frost would thicken there.
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillPath(path, frost);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);

    painter.setPen(QPen(m_rimColor, m_rimWidth));
    painter.drawPath(path);
}

void DropView::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange) {
        updateRim();
    }
}

} // namespace verrabel
