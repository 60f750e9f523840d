#pragma once

#include <QIcon>
#include <QString>

namespace verrabel {

enum class FileKind { File, Directory, Special };

/// Icons for files, by their name and kind alone: nothing is read from the file.
class FileIcons {
public:
    virtual ~FileIcons() = default;
    [[nodiscard]] virtual QIcon iconFor(const QString& name, FileKind kind) = 0;
};

} // namespace verrabel
