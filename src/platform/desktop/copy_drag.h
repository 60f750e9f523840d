#pragma once

class QIcon;
class QMimeData;
class QWidget;

namespace verrabel {

/// Drags `data` (taken over) from `source` as a copy only, whatever the target: the items are
/// never moved. Its image is the icon, 32 points, centred on the pointer, and for more than one
/// item a badge with their `count`. Returns when the drag ends.
void dragAsCopy(QWidget* source, QMimeData* data, const QIcon& icon, int count);

} // namespace verrabel
