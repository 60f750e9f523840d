#pragma once

#include <QIcon>
#include <QList>
#include <QUrl>

class QWidget;

namespace verrabel {

/// Hands files to other applications by drag and drop.
class FileDrags {
public:
    virtual ~FileDrags() = default;
    /// Drags the files as a copy (one text/uri-list) with the icon, 32 points, centred on the
    /// pointer, and how many they are when more than one. Returns when the drag has ended:
    /// cancelled, refused or dropped (the target may still read the data after that); `source`
    /// may be gone by then.
    virtual void dragOut(QWidget* source, const QList<QUrl>& files, const QIcon& icon) = 0;
};

} // namespace verrabel
