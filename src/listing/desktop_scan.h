#pragma once

#include <QFile>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <variant>
#include <vector>

namespace verrabel {

/// One direct child of the Desktop folder, with what one stat of it told. Kept small: a
/// Desktop may hold a hundred thousand of them.
struct DesktopEntry {
    /// The name's bytes as they are on disk.
    QByteArray fileName;
    /// The item's kind, size and modification time (seconds since 1970), from the same stat; a
    /// symbolic link is not followed.
    bool isDirectory = false;
    bool isSpecial = false; // a FIFO, socket or device
    qint64 size = 0;
    double modified = 0;

    /// The item's name for display; bytes that are not UTF-8 show as replacement characters.
    /// Made when asked for, not kept: only the few on screen are.
    [[nodiscard]] QString name() const { return QFile::decodeName(fileName); }
};

struct ScanFailure {
    int code = 0;
    QString description;
};

/// The folder's entries in the order a file browser shows them.
struct DesktopListing {
    /// The folder listed, as bytes.
    QByteArray folder;
    std::vector<DesktopEntry> entries;
    /// A digest of the entries' signature lines joined by line feeds: equal exactly when
    /// nothing changed.
    QString signature;

    /// The entry's file URL, made from its name's bytes.
    [[nodiscard]] QUrl urlOf(const DesktopEntry& entry) const;
};

/// A listing, or why the folder could not be listed.
using ScanResult = std::variant<DesktopListing, ScanFailure>;

/// Lists the folder's direct children, skipping hidden ones (dot names and those listed in the
/// folder's `.hidden` file), ordered by name. Reads every item's metadata once and opens none.
/// For background threads.
[[nodiscard]] ScanResult scanDesktop(const QString& folder);

/// A file browser's name order: case ignored, runs of digits compared by value, the locale's
/// collation; entries whose names compare equal keep their order.
void orderByName(std::vector<DesktopEntry>& entries);

/// path|modification time|size, the time as the shortest decimal that reads back as the same
/// double and always with a fractional part.
[[nodiscard]] QString signatureLine(const QString& path, double modificationTime, qint64 size);

/// The digest of signature lines joined by line feeds, as `DesktopListing::signature` holds it.
[[nodiscard]] QString signatureDigest(const QStringList& lines);

} // namespace verrabel
