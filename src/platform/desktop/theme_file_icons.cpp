#include "theme_file_icons.h"

namespace verrabel {

ThemeFileIcons::ThemeFileIcons() {
    // A session without a desktop environment has only hicolor, which holds no file icons.
    if (QIcon::fallbackThemeName().isEmpty() ||
        QIcon::fallbackThemeName() == QLatin1String("hicolor")) {
        QIcon::setFallbackThemeName(QStringLiteral("Adwaita"));
    }
}

QIcon ThemeFileIcons::iconFor(const QString& name, FileKind kind) {
    const QString mimeType =
        kind == FileKind::Directory ? QStringLiteral("inode/directory")
        : kind == FileKind::Special
            ? QStringLiteral("application/octet-stream")
            : m_mimeTypes.mimeTypeForFile(name, QMimeDatabase::MatchExtension).name();
    const auto known = m_byMimeType.constFind(mimeType);
    if (known != m_byMimeType.constEnd()) {
        return *known;
    }
    const QMimeType type = m_mimeTypes.mimeTypeForName(mimeType);
    QIcon icon = QIcon::fromTheme(type.iconName());
    if (icon.isNull()) {
        icon = QIcon::fromTheme(type.genericIconName());
    }
    if (icon.isNull()) {
        icon = QIcon(kind == FileKind::Directory ? QStringLiteral(":/icons/folder.svg")
                                                 : QStringLiteral(":/icons/document.svg"));
    }
    m_byMimeType.insert(mimeType, icon);
    return icon;
}

} // namespace verrabel
