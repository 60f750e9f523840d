#pragma once

#include "platform/file_icons.h"

#include <QHash>
#include <QMimeDatabase>

namespace verrabel {

/// The icon theme's icon for the file's MIME type, guessed from the name; Adwaita where the
/// desktop names no theme; Verrabel's own document and folder symbols where nothing fits.
/// Icons are kept per MIME type, so a rebuilt list looks none of them up again.
class ThemeFileIcons final : public FileIcons {
public:
    ThemeFileIcons();
    [[nodiscard]] QIcon iconFor(const QString& name, FileKind kind) override;

private:
    QMimeDatabase m_mimeTypes;
    QHash<QString, QIcon> m_byMimeType;
};

} // namespace verrabel
