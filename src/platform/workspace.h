#pragma once

#include <QList>
#include <QUrl>

namespace verrabel {

/// The desktop's file handling: default applications and the file manager.
class Workspace {
public:
    virtual ~Workspace() = default;
    /// Opens a file or folder with its default application; false when nothing could open it.
    virtual bool openUrl(const QUrl& url) = 0;
    /// Shows the items, all in one folder, selected in one file-manager window.
    virtual void revealItems(const QList<QUrl>& items) = 0;
};

} // namespace verrabel
