#include "thumbnail_cache.h"

#include "platform/private_folders.h"
#include "thumbnail_decoding.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace verrabel {

namespace {

struct SizeFolder {
    const char* name;
    int pixels;
};
constexpr std::array<SizeFolder, 4> kFolders{
    {{"normal", 128}, {"large", 256}, {"x-large", 512}, {"xx-large", 1024}}};

constexpr QLatin1StringView kUriKey("Thumb::URI");
constexpr QLatin1StringView kModifiedKey("Thumb::MTime");
constexpr QLatin1StringView kSizeKey("Thumb::Size");

/// A valid thumbnail is at most xx-large's 1024 × 1024 pixels; 16 MB leaves room for its text.
constexpr DecodingLimits kThumbnailLimits{qint64{16} << 20, 0, qint64{16} << 20};

std::size_t firstFolderFor(int pixels) {
    std::size_t index = 0;
    while (index + 1 < kFolders.size() && kFolders.at(index).pixels < pixels) {
        ++index;
    }
    return index;
}

/// A thumbnail or failure mark in the cache: a regular file of its own, never a link out of it.
QImage readCached(const QString& file) {
    const std::optional<QByteArray> bytes =
        readRegularFile(file, kThumbnailLimits.fileBytes, false);
    return bytes ? decodeImage(*bytes, "png", kFolders.back().pixels, kThumbnailLimits).image
                 : QImage();
}

/// Whether `image`, read from the cache, speaks for the item as it is now.
bool describes(const QImage& image, const QByteArray& uri, qint64 modified, qint64 size) {
    bool modifiedRead = false;
    if (image.isNull() || image.text(kUriKey).toUtf8() != uri ||
        image.text(kModifiedKey).toLongLong(&modifiedRead) != modified || !modifiedRead) {
        return false;
    }
    // The size is optional; when it is there it must match too.
    const QString sizeText = image.text(kSizeKey);
    return sizeText.isEmpty() || sizeText.toLongLong() == size;
}

/// Writes `bytes` to a temporary name beside `path` and renames it there, so that a reader
/// never sees half a thumbnail; the file is the user's alone (0600).
void writeAtomically(const QString& path, const QByteArray& bytes) {
    QByteArray temporary = QFile::encodeName(path) + ".XXXXXX";
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) {
        return;
    }
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t step = ::write(fd, bytes.constData() + written,
                                     static_cast<std::size_t>(bytes.size() - written));
        if (step < 0 && errno != EINTR) {
            break;
        }
        written += std::max<ssize_t>(step, 0);
    }
    const bool whole = ::close(fd) == 0 && written == bytes.size();
    if (!whole || ::rename(temporary.constData(), QFile::encodeName(path).constData()) != 0) {
        ::unlink(temporary.constData());
    }
}

} // namespace

ThumbnailCache::ThumbnailCache(QString root)
    : m_root(std::move(root)) {}

QByteArray ThumbnailCache::uriOf(const QString& path) {
    // GLib's escaping of a path: the same bytes make the same file name as in file managers.
    return "file://" + QFile::encodeName(QDir::cleanPath(QDir(path).absolutePath()))
                           .toPercentEncoding("!$&'()*+,:=@/");
}

QString ThumbnailCache::fileNameOf(const QByteArray& uri) {
    return QString::fromLatin1(QCryptographicHash::hash(uri, QCryptographicHash::Md5).toHex()) +
           QStringLiteral(".png");
}

QString ThumbnailCache::folderFor(int pixels) {
    return QString::fromLatin1(kFolders.at(firstFolderFor(pixels)).name);
}

qint64 ThumbnailCache::changed() const {
    qint64 latest = 0;
    for (const SizeFolder& folder : kFolders) {
        struct stat status {};
        const QByteArray path =
            QFile::encodeName(m_root + QLatin1Char('/') + QLatin1String(folder.name));
        if (::stat(path.constData(), &status) == 0) {
            latest = std::max(latest, qint64{status.st_mtim.tv_sec} * 1'000'000'000 +
                                          status.st_mtim.tv_nsec);
        }
    }
    return latest;
}

QImage ThumbnailCache::thumbnailFor(const QString& path, int pixels) const {
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    Item item;
    item.path = path;
    item.uri = uriOf(path);
    item.fileName = fileNameOf(item.uri);
    item.modified = status.st_mtim.tv_sec;
    item.size = status.st_size;

    QImage image = cached(item, pixels);
    if (image.isNull() && madeFromItsImage(path) && !failedBefore(item)) {
        image = make(item, pixels);
    }
    if (image.width() > pixels || image.height() > pixels) {
        image = image.scaled(pixels, pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    return image;
}

QImage ThumbnailCache::cached(const Item& item, int pixels) const {
    // A larger size serves too; a smaller one would look blurred.
    for (std::size_t index = firstFolderFor(pixels); index < kFolders.size(); ++index) {
        QImage image =
            readCached(m_root + QLatin1Char('/') + QLatin1String(kFolders.at(index).name) +
                       QLatin1Char('/') + item.fileName);
        if (describes(image, item.uri, item.modified, item.size)) {
            return image;
        }
    }
    return {};
}

bool ThumbnailCache::failedBefore(const Item& item) const {
    return describes(readCached(m_root + QStringLiteral("/fail/verrabel/") + item.fileName),
                     item.uri, item.modified, item.size);
}

QImage ThumbnailCache::make(const Item& item, int pixels) const {
    const std::size_t index = firstFolderFor(pixels);
    const std::optional<QByteArray> bytes =
        readRegularFile(item.path, DecodingLimits().fileBytes, true);
    if (!bytes) {
        return {}; // gone, unreadable or too large meanwhile: nothing to say about the image
    }
    const Decoded decoded = decodeImage(*bytes, QFileInfo(item.path).suffix().toLatin1(),
                                        kFolders.at(index).pixels, DecodingLimits());
    if (decoded.broken) {
        // Remembered, so that a broken image is not read again until it changes.
        QImage mark(1, 1, QImage::Format_ARGB32);
        mark.fill(Qt::transparent);
        store(item, mark, QStringLiteral("fail/verrabel"));
    }
    if (!decoded.image.isNull()) {
        store(item, decoded.image, QLatin1String(kFolders.at(index).name));
    }
    return decoded.image;
}

void ThumbnailCache::store(const Item& item, QImage image, const QString& folder) const {
    image.setText(kUriKey, QString::fromUtf8(item.uri));
    image.setText(kModifiedKey, QString::number(item.modified));
    image.setText(kSizeKey, QString::number(item.size));
    image.setText(QStringLiteral("Software"), QStringLiteral("Verrabel"));
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "png")) {
        return;
    }
    const QString destination = m_root + QLatin1Char('/') + folder;
    if (makePrivateFolder(destination)) {
        return;
    }
    writeAtomically(destination + QLatin1Char('/') + item.fileName, bytes);
}

} // namespace verrabel
