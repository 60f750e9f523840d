#pragma once

class QIcon;
class QMimeData;
class QWidget;

namespace verrabel {

/// Drags `data` (taken over) from `source` as a copy only, whatever the target: the item is never
/// moved. Its image is the icon, 32 points, centred on the pointer. Returns when the drag ends.
void dragAsCopy(QWidget* source, QMimeData* data, const QIcon& icon);

} // namespace verrabel
