#include "xdg_folders.h"

#include <QDir>
#include <QStandardPaths>

namespace verrabel {

QString XdgFolders::desktop() const {
    QString desktop = QStandardPaths::writableLocation(QStandardPaths::DesktopLocation);
    if (desktop.isEmpty() || QDir::cleanPath(desktop) == QDir::cleanPath(QDir::homePath())) {
        return {};
    }
    return desktop;
}

QString XdgFolders::thumbnails() const {
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) +
           QStringLiteral("/thumbnails");
}

} // namespace verrabel
