#include "copy_drag.h"

#include <QDrag>
#include <QIcon>
#include <QMimeData>
#include <QWidget>

namespace verrabel {

namespace {

constexpr int kImageSize = 32;

} // namespace

void dragAsCopy(QWidget* source, QMimeData* data, const QIcon& icon) {
    auto* drag = new QDrag(source);
    drag->setMimeData(data);
    drag->setPixmap(icon.pixmap(QSize(kImageSize, kImageSize), source->devicePixelRatioF()));
    drag->setHotSpot(QPoint(kImageSize / 2, kImageSize / 2));
    drag->exec(Qt::CopyAction, Qt::CopyAction);
}

} // namespace verrabel
