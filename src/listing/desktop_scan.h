#pragma once

#include <QString>
#include <QUrl>

#include <variant>
#include <vector>

namespace verrabel {

/// One direct child of the Desktop folder, with what one stat of it told.
struct DesktopEntry {
    /// The item's file URL, made from the name's bytes as they are on disk.
    QUrl url;
    /// The item's name for display; bytes that are not UTF-8 show as replacement characters.
    QString name;
    /// Changes whenever the item's path, modification time or size changes.
    QString signatureLine;
    /// The item's kind and size, from the same stat; a symbolic link is not followed.
    bool isDirectory = false;
    bool isSpecial = false; // a FIFO, socket or device
    qint64 size = 0;
};

struct ScanFailure {
    int code = 0;
    QString description;
};

/// The folder's entries in the order a file browser shows them.
struct DesktopListing {
    std::vector<DesktopEntry> entries;
    /// The entries' signature lines, joined by line feeds: equal exactly when nothing changed.
    QString signature;
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

/// The entries' signature lines, joined by line feeds.
[[nodiscard]] QString listingSignature(const std::vector<DesktopEntry>& entries);

} // namespace verrabel
