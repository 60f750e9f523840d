#pragma once

#include <QPixmap>

class QIcon;
class QMimeData;
class QWidget;

namespace verrabel {

/// A drag's image: the icon, 32 points, and for more than one item a badge with their `count`,
/// drawn `ratio` pixels to the point. Its hot spot is its centre.
[[nodiscard]] QPixmap dragImage(const QWidget& source, const QIcon& icon, int count, qreal ratio);

/// Drags `data` (taken over) from `source` as a copy only, whatever the target: the items are
/// never moved. Its image is the icon, 32 points, centred on the pointer, and for more than one
/// item a badge with their `count`. Returns when the drag ends.
void dragAsCopy(QWidget* source, QMimeData* data, const QIcon& icon, int count);

} // namespace verrabel
