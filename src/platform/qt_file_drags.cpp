#include "qt_file_drags.h"

#include <QDrag>
#include <QMimeData>
#include <QWidget>

namespace verrabel {

namespace {
constexpr int kImageSize = 32;
} // namespace

void QtFileDrags::dragOut(QWidget* source, const QUrl& file, const QIcon& icon) {
    auto* data = new QMimeData;
    data->setUrls({file});
    auto* drag = new QDrag(source);
    drag->setMimeData(data);
    drag->setPixmap(icon.pixmap(QSize(kImageSize, kImageSize), source->devicePixelRatioF()));
    drag->setHotSpot(QPoint(kImageSize / 2, kImageSize / 2));
    // Copy only, whether the drop lands in Verrabel or elsewhere: the item is never moved.
    drag->exec(Qt::CopyAction, Qt::CopyAction);
}

} // namespace verrabel
