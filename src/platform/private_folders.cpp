#include "private_folders.h"

#include <QDir>
#include <QFile>
#include <QStringList>

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

namespace verrabel {

std::optional<QString> makePrivateFolder(const QString& path) {
    const QStringList parts = QDir::cleanPath(path).split(QLatin1Char('/'));
    QString made;
    for (const QString& part : parts) {
        made += part + QLatin1Char('/');
        if (::mkdir(QFile::encodeName(made).constData(), S_IRWXU) != 0 && errno != EEXIST) {
            return QString::fromLocal8Bit(std::strerror(errno));
        }
    }
    struct stat folder {};
    if (::stat(QFile::encodeName(path).constData(), &folder) != 0 || !S_ISDIR(folder.st_mode)) {
        return QString::fromLocal8Bit(std::strerror(ENOTDIR));
    }
    return std::nullopt;
}

} // namespace verrabel
