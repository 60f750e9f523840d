#include "desktop_scan.h"

#include "platform/file_urls.h"

#include <QCollator>
#include <QCryptographicHash>
#include <QFile>
#include <QLocale>
#include <QSet>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace verrabel {

namespace {

constexpr double kNanosPerSecond = 1e9;

/// Names the folder's `.hidden` file lists, one a line, as file managers read it.
QSet<QByteArray> hiddenNames(int folder) {
    QSet<QByteArray> names;
    const int fd = openat(folder, ".hidden", O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    if (fd < 0) {
        return names;
    }
    struct stat info {};
    if (fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
        QFile file;
        if (file.open(fd, QIODevice::ReadOnly)) {
            for (const QByteArray& line : file.readAll().split('\n')) {
                if (!line.isEmpty()) {
                    names.insert(line);
                }
            }
        }
    }
    close(fd);
    return names;
}

bool isSpecialFile(mode_t mode) {
    return S_ISFIFO(mode) || S_ISSOCK(mode) || S_ISCHR(mode) || S_ISBLK(mode);
}

DesktopEntry entryFor(int folder, const char* name) {
    DesktopEntry entry;
    entry.fileName = name;
    struct stat info {};
    if (fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0) {
        entry.isDirectory = S_ISDIR(info.st_mode);
        entry.isSpecial = isSpecialFile(info.st_mode);
        entry.size = entry.isDirectory ? 0 : static_cast<qint64>(info.st_size);
        entry.modified = static_cast<double>(info.st_mtim.tv_sec) +
                         static_cast<double>(info.st_mtim.tv_nsec) / kNanosPerSecond;
    }
    return entry;
}

/// The digest of the entries' signature lines, fed in one at a time: the lines of a large
/// Desktop are never all held at once.
QString listingSignature(const QByteArray& folder, const std::vector<DesktopEntry>& entries) {
    QCryptographicHash digest(QCryptographicHash::Sha1);
    const QByteArray prefix = folder + '/';
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if (i > 0) {
            digest.addData("\n");
        }
        // The path's own bytes: names that are not UTF-8 may read alike once decoded.
        digest.addData(prefix + entries[i].fileName);
        digest.addData(signatureLine(QString(), entries[i].modified, entries[i].size).toUtf8());
    }
    return QString::fromLatin1(digest.result().toHex());
}

} // namespace

ScanResult scanDesktop(const QString& folder) {
    const QByteArray folderPath = QFile::encodeName(folder);
    const int fd =
        folder.isEmpty() ? -1 : open(folderPath.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        const int code = folder.isEmpty() ? ENOENT : errno;
        return ScanFailure{code, QString::fromLocal8Bit(std::strerror(code))};
    }
    DIR* directory = fdopendir(fd);
    if (directory == nullptr) {
        const int code = errno;
        close(fd);
        return ScanFailure{code, QString::fromLocal8Bit(std::strerror(code))};
    }

    const QSet<QByteArray> hidden = hiddenNames(fd);
    std::vector<DesktopEntry> entries;
    int readError = 0;
    for (;;) {
        errno = 0; // readdir() tells its end from an error only by errno
        const dirent* item = readdir(directory);
        if (item == nullptr) {
            readError = errno;
            break;
        }
        const char* name = item->d_name;
        if (name[0] == '.' || hidden.contains(QByteArray(name))) {
            continue; // ".", ".." and dot names are hidden too
        }
        entries.push_back(entryFor(fd, name));
    }
    closedir(directory);
    if (readError != 0) {
        return ScanFailure{readError, QString::fromLocal8Bit(std::strerror(readError))};
    }

    orderByName(entries);
    // Made here rather than where it is compared: the main thread's part of a rescan that
    // changed nothing should be the comparison alone.
    QString signature = listingSignature(folderPath, entries);
    return DesktopListing{folderPath, std::move(entries), std::move(signature)};
}

QUrl DesktopListing::urlOf(const DesktopEntry& entry) const {
    return fileUrlFromNativePath(folder + '/' + entry.fileName);
}

void orderByName(std::vector<DesktopEntry>& entries) {
    // Qt collates the C locale by code point, ignoring case and numeric settings; a system
    // without a locale still deserves a file browser's order, so use the root-like English one.
    const QLocale locale;
    QCollator collator(locale.language() == QLocale::C ? QLocale(QLocale::English) : locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);

    // One sort key a name: comparing keys is much cheaper than collating names again and again.
    std::vector<std::pair<QCollatorSortKey, std::size_t>> keys;
    keys.reserve(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        keys.emplace_back(collator.sortKey(entries[i].name()), i);
    }
    std::stable_sort(keys.begin(), keys.end(), [](const auto& left, const auto& right) {
        return left.first.compare(right.first) < 0;
    });

    std::vector<DesktopEntry> ordered;
    ordered.reserve(entries.size());
    for (const auto& key : keys) {
        ordered.push_back(std::move(entries[key.second]));
    }
    entries = std::move(ordered);
}

QString signatureLine(const QString& path, double modificationTime, qint64 size) {
    std::array<char, 64> buffer{};
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(),
                                       modificationTime, std::chars_format::fixed);
    QString time = QString::fromLatin1(buffer.data(), written.ptr - buffer.data());
    if (!time.contains(QLatin1Char('.'))) {
        time += QLatin1String(".0");
    }
    return path + QLatin1Char('|') + time + QLatin1Char('|') + QString::number(size);
}

QString signatureDigest(const QStringList& lines) {
    return QString::fromLatin1(
        QCryptographicHash::hash(lines.join(QLatin1Char('\n')).toUtf8(), QCryptographicHash::Sha1)
            .toHex());
}

} // namespace verrabel
