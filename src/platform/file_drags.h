#pragma once

#include <QIcon>
#include <QUrl>

class QWidget;

namespace verrabel {

/// Hands a file to other applications by drag and drop.
class FileDrags {
public:
    virtual ~FileDrags() = default;
    /// Drags the file as a copy (its URL as text/uri-list) with the icon, 32 points, centred on
    /// the pointer. Returns when the drag has ended: cancelled, refused or dropped (the target
    /// may still read the file's data after that); `source` may be gone by then.
    virtual void dragOut(QWidget* source, const QUrl& file, const QIcon& icon) = 0;
};

} // namespace verrabel
