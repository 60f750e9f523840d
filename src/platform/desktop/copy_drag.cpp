#include "copy_drag.h"

#include <QDrag>
#include <QIcon>
#include <QMimeData>
#include <QPainter>
#include <QWidget>

#include <algorithm>

namespace verrabel {

namespace {

constexpr int kImageSize = 32;
// The badge's circle, over the icon's top right corner, and the room the image needs for it.
constexpr int kBadgeSize = 18;
constexpr int kBadgeOverhang = 8;
constexpr int kBadgeFontPixels = 11;

/// The icon with a badge that says how many items the drag holds.
QPixmap countedImage(const QIcon& icon, int count, const QWidget& source, qreal ratio) {
    const int side = kImageSize + 2 * kBadgeOverhang;
    QPixmap image(QSize(side, side) * ratio);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    icon.paint(&painter, kBadgeOverhang, kBadgeOverhang, kImageSize, kImageSize);
    const QString digits = QString::number(count);
    QFont font = source.font();
    font.setPixelSize(kBadgeFontPixels);
    font.setWeight(QFont::DemiBold);
    painter.setFont(font);
    // A pill when the digits need more room than the circle has.
    const int width = std::max(kBadgeSize, painter.fontMetrics().horizontalAdvance(digits) + 8);
    const QRectF badge(side - width, 0, width, kBadgeSize);
    painter.setPen(Qt::NoPen);
    painter.setBrush(source.palette().color(QPalette::Highlight));
    painter.drawRoundedRect(badge, kBadgeSize / 2.0, kBadgeSize / 2.0);
    painter.setPen(source.palette().color(QPalette::HighlightedText));
    painter.drawText(badge, Qt::AlignCenter, digits);
    return image;
}

} // namespace

QPixmap dragImage(const QWidget& source, const QIcon& icon, int count, qreal ratio) {
    return count > 1 ? countedImage(icon, count, source, ratio)
                     : icon.pixmap(QSize(kImageSize, kImageSize), ratio);
}

void dragAsCopy(QWidget* source, QMimeData* data, const QIcon& icon, int count) {
    auto* drag = new QDrag(source);
    drag->setMimeData(data);
    const QPixmap image = dragImage(*source, icon, count, source->devicePixelRatioF());
    drag->setPixmap(image);
    // Centred on the pointer.
    const QSize size = image.deviceIndependentSize().toSize();
    drag->setHotSpot(QPoint(size.width() / 2, size.height() / 2));
    drag->exec(Qt::CopyAction, Qt::CopyAction);
}

} // namespace verrabel
