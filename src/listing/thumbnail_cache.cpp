#include "thumbnail_cache.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QMimeDatabase>
#include <QSet>

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

// In bytes: files larger are left to the file manager, and so are images that would take more
// to decode whole, where the format cannot decode them scaled down.
constexpr qint64 kLargestImage = qint64{200} << 20;
constexpr qint64 kLargestDrawing = qint64{16} << 20;
constexpr qint64 kLargestDecoded = qint64{128} << 20;

bool madeFormat(const QByteArray& format) {
    constexpr std::array<const char*, 8> kFormats{"png",  "jpeg", "jpg", "gif",
                                                  "webp", "bmp",  "svg", "svgz"};
    return std::any_of(kFormats.begin(), kFormats.end(),
                       [&format](const char* made) { return format == made; });
}

std::size_t firstFolderFor(int pixels) {
    std::size_t index = 0;
    while (index + 1 < kFolders.size() && kFolders.at(index).pixels < pixels) {
        ++index;
    }
    return index;
}

/// The image kinds made into thumbnails: the common ones, where this Qt has their plugin.
bool madeFromItsImage(const QString& path) {
    static const QSet<QByteArray> kinds = [] {
        QSet<QByteArray> readable;
        const QList<QByteArray> supported = QImageReader::supportedMimeTypes();
        for (const char* kind :
             {"image/png", "image/jpeg", "image/gif", "image/webp", "image/bmp", "image/svg+xml"}) {
            if (supported.contains(kind)) {
                readable.insert(kind);
            }
        }
        return readable;
    }();
    static const QMimeDatabase types;
    return kinds.contains(
        types.mimeTypeForFile(path, QMimeDatabase::MatchExtension).name().toLatin1());
}

QImage fitted(QImage image, int pixels) {
    if (image.width() > pixels || image.height() > pixels) {
        image = image.scaled(pixels, pixels, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    return image;
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

void makeFolder(const QString& path) {
    // The standard's folders are the user's own: 0700.
    if (::mkdir(QFile::encodeName(path).constData(), S_IRWXU) != 0 && errno == ENOENT) {
        makeFolder(QFileInfo(path).path());
        ::mkdir(QFile::encodeName(path).constData(), S_IRWXU);
    }
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
    return image.isNull() ? image : fitted(std::move(image), pixels);
}

QImage ThumbnailCache::cached(const Item& item, int pixels) const {
    // A larger size serves too; a smaller one would look blurred.
    for (std::size_t index = firstFolderFor(pixels); index < kFolders.size(); ++index) {
        const QString file = m_root + QLatin1Char('/') + QLatin1String(kFolders.at(index).name) +
                             QLatin1Char('/') + item.fileName;
        if (!QFile::exists(file)) {
            continue;
        }
        QImage image = QImageReader(file, "png").read();
        if (describes(image, item.uri, item.modified, item.size)) {
            return image;
        }
    }
    return {};
}

bool ThumbnailCache::failedBefore(const Item& item) const {
    const QString file = m_root + QStringLiteral("/fail/verrabel/") + item.fileName;
    return QFile::exists(file) &&
           describes(QImageReader(file, "png").read(), item.uri, item.modified, item.size);
}

QImage ThumbnailCache::make(const Item& item, int pixels) const {
    const std::size_t index = firstFolderFor(pixels);
    const int side = kFolders.at(index).pixels;
    QImageReader reader(item.path);
    const QByteArray format = reader.format();
    // What the name promised, or nothing: a TIFF named .png is the file manager's to show.
    if (!format.isEmpty() && !madeFormat(format)) {
        return {};
    }
    const QSize original = reader.size();
    // PNG's reader takes a size too, but decodes the whole image first.
    const bool scalesWhileReading =
        format == "jpeg" || format == "jpg" || format == "webp" || format.startsWith("svg");
    // Too big to read whole without holding up the rows behind it: left to the file manager.
    if (item.size > (format.startsWith("svg") ? kLargestDrawing : kLargestImage) ||
        (!scalesWhileReading &&
         static_cast<qint64>(original.width()) * original.height() * 4 > kLargestDecoded)) {
        return {};
    }
    reader.setAutoTransform(true); // a photo upright, as its camera meant
    if (original.width() > side || original.height() > side) {
        reader.setScaledSize(original.scaled(side, side, Qt::KeepAspectRatio).expandedTo({1, 1}));
    }
    QImage image = reader.read();
    if (image.isNull()) {
        if (reader.error() != QImageReader::InvalidDataError &&
            reader.error() != QImageReader::UnsupportedFormatError) {
            return {}; // gone or unreadable meanwhile: nothing to say about the image
        }
        // Remembered, so that a broken image is not read again until it changes.
        QImage mark(1, 1, QImage::Format_ARGB32);
        mark.fill(Qt::transparent);
        store(item, mark, QStringLiteral("fail/verrabel"));
        return {};
    }
    image = fitted(std::move(image), side);
    store(item, image, QLatin1String(kFolders.at(index).name));
    return image;
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
    makeFolder(destination);
    writeAtomically(destination + QLatin1Char('/') + item.fileName, bytes);
}

} // namespace verrabel
