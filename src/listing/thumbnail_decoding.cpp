#include "thumbnail_decoding.h"

#include <QBuffer>
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
#include <zlib.h>

namespace verrabel {

namespace {

/// How a kind's reader decodes: the image whole; a JPEG scaled by eighths while it is read,
/// when it is sequential; a drawing drawn at the size asked for.
enum class Decoding { Whole, Jpeg, Drawing };

/// An image kind thumbnails are made from.
struct MadeKind {
    const char* mimeType;
    const char* format;
    Decoding decoding;
};
constexpr std::array<MadeKind, 6> kMadeKinds{{{"image/png", "png", Decoding::Whole},
                                              {"image/jpeg", "jpeg", Decoding::Jpeg},
                                              {"image/gif", "gif", Decoding::Whole},
                                              {"image/webp", "webp", Decoding::Whole},
                                              {"image/bmp", "bmp", Decoding::Whole},
                                              {"image/svg+xml", "svg", Decoding::Drawing}}};

/// The reader's format name as the table has it.
QByteArray canonical(const QByteArray& format) {
    const QByteArray lower = format.toLower();
    return lower == "jpg" ? QByteArray("jpeg") : lower == "svgz" ? QByteArray("svg") : lower;
}

const MadeKind* madeKindOf(const QByteArray& format) {
    const QByteArray name = canonical(format);
    const auto* found = std::find_if(kMadeKinds.begin(), kMadeKinds.end(),
                                     [&name](const MadeKind& kind) { return name == kind.format; });
    return found != kMadeKinds.end() ? found : nullptr;
}

// What is read or inflated at a time.
constexpr std::size_t kPieceBytes = std::size_t{64} * 1024;

/// Whether a JPEG is sequential, which libjpeg decodes scaled a band at a time. A progressive
/// one (or another kind of frame) is held whole in the decoder, coefficients for every pixel.
bool sequentialJpeg(const QByteArray& bytes) {
    qsizetype at = 2; // after the start of image
    while (at + 4 <= bytes.size() && static_cast<std::uint8_t>(bytes.at(at)) == 0xFF) {
        const auto marker = static_cast<std::uint8_t>(bytes.at(at + 1));
        if (marker == 0xFF) {
            ++at; // fill byte
            continue;
        }
        // Start of frame: 0xC0 to 0xCF but for the tables 0xC4, 0xC8 and 0xCC.
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 &&
            marker != 0xCC) {
            return marker == 0xC0 || marker == 0xC1;
        }
        const auto length = (static_cast<std::uint8_t>(bytes.at(at + 2)) << 8) |
                            static_cast<std::uint8_t>(bytes.at(at + 3));
        at += 2 + length;
    }
    return false;
}

/// Whether decoding would hold more than the limits allow: 4 bytes a pixel decoded whole, a
/// 64th of that for a sequential JPEG, twice that for a progressive one (coefficients for every
/// pixel, then the image); a drawing by its size.
bool tooCostly(const MadeKind& kind, const QByteArray& data, QSize size,
               const DecodingLimits& limits) {
    const qint64 pixels = qint64{size.width()} * size.height();
    switch (kind.decoding) {
    case Decoding::Drawing:
        return data.size() > limits.drawingBytes;
    case Decoding::Jpeg:
        return sequentialJpeg(data) ? pixels * 4 / 64 > limits.decodedBytes
                                    : pixels * 8 > limits.decodedBytes;
    case Decoding::Whole:
        break;
    }
    return pixels * 4 > limits.decodedBytes;
}

bool gzipped(const QByteArray& bytes) {
    return bytes.startsWith("\x1f\x8b");
}

/// The inflated bytes of a gzip stream, or nothing when it is broken or would inflate to more
/// than `limit`: inflated a piece at a time, never whole.
std::optional<QByteArray> inflateAtMost(const QByteArray& bytes, qint64 limit) {
    z_stream stream{};
    constexpr int kGzipOnly = 16 + MAX_WBITS;
    if (inflateInit2(&stream, kGzipOnly) != Z_OK) {
        return std::nullopt;
    }
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.constData()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    QByteArray inflated;
    std::array<char, kPieceBytes> piece{};
    int status = Z_OK;
    while (status == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(piece.data());
        stream.avail_out = static_cast<uInt>(piece.size());
        status = inflate(&stream, Z_NO_FLUSH);
        const auto produced = static_cast<qsizetype>(piece.size() - stream.avail_out);
        if (inflated.size() + produced > limit) {
            status = Z_MEM_ERROR;
            break;
        }
        inflated.append(piece.data(), produced);
    }
    inflateEnd(&stream);
    return status == Z_STREAM_END ? std::optional(inflated) : std::nullopt;
}

QImage in32Bits(const QImage& image) {
    return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                         : QImage::Format_RGB32);
}

} // namespace

void limitImageAllocations(const DecodingLimits& limits) {
    QImageReader::setAllocationLimit(
        static_cast<int>(std::max<qint64>(limits.decodedBytes >> 20, 1)));
}

std::optional<QByteArray> readRegularFile(const QString& path, qint64 limit, bool followLinks) {
    const int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | (followLinks ? 0 : O_NOFOLLOW);
    const int fd = ::open(QFile::encodeName(path).constData(), flags);
    if (fd < 0) {
        return std::nullopt;
    }
    struct stat status {};
    std::optional<QByteArray> bytes;
    if (::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= limit) {
        bytes.emplace();
        bytes->reserve(static_cast<qsizetype>(status.st_size));
        std::array<char, kPieceBytes> piece{};
        for (;;) {
            const ssize_t got = ::read(fd, piece.data(), piece.size());
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got < 0 || bytes->size() + got > limit) {
                bytes.reset(); // unreadable, or grew past the limit meanwhile
                break;
            }
            if (got == 0) {
                break;
            }
            bytes->append(piece.data(), got);
        }
    }
    ::close(fd);
    return bytes;
}

bool madeFromItsImage(const QString& path) {
    static const QSet<QByteArray> kinds = [] {
        QSet<QByteArray> readable;
        const QList<QByteArray> supported = QImageReader::supportedMimeTypes();
        for (const MadeKind& kind : kMadeKinds) {
            if (supported.contains(kind.mimeType)) {
                readable.insert(kind.mimeType);
            }
        }
        return readable;
    }();
    static const QMimeDatabase types;
    return kinds.contains(
        types.mimeTypeForFile(path, QMimeDatabase::MatchExtension).name().toLatin1());
}

Decoded decodeImage(const QByteArray& bytes, const QByteArray& format, int side,
                    const DecodingLimits& limits) {
    QByteArray data = bytes;
    QByteArray hint = canonical(format);
    // Whatever is gzip inside can only be a compressed drawing, and Qt would inflate it whole.
    if (gzipped(data)) {
        std::optional<QByteArray> inflated = inflateAtMost(data, limits.drawingBytes);
        if (!inflated || gzipped(*inflated)) {
            return {};
        }
        data = std::move(*inflated);
        hint = "svg";
    }
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    // The kind the bytes are, whatever the name says: each has its limit. Where they tell none,
    // the name's kind is tried, and the bytes are no image if that fails.
    QByteArray found = QImageReader::imageFormat(&buffer);
    if (found.isEmpty()) {
        found = hint;
    }
    const MadeKind* kind = madeKindOf(found);
    // What the name promised, or nothing: a TIFF named .png is the file manager's to show.
    if (kind == nullptr) {
        return {{}, found.isEmpty()};
    }
    QImageReader reader(&buffer, kind->format);
    reader.setAutoDetectImageFormat(false);
    const QSize original = reader.size();
    if (tooCostly(*kind, data, original, limits)) {
        return {};
    }
    reader.setAutoTransform(true); // a photo upright, as its camera meant
    // The others' readers decode whole and scale after, and Qt 6.4 scales a 1-bit image to a
    // black-and-white dither: they are scaled here, in 32 bits.
    if (kind->decoding != Decoding::Whole &&
        (original.width() > side || original.height() > side)) {
        reader.setScaledSize(original.scaled(side, side, Qt::KeepAspectRatio).expandedTo({1, 1}));
    }
    QImage image = reader.read();
    if (image.isNull()) {
        return {{}, true};
    }
    image = in32Bits(image);
    if (image.width() > side || image.height() > side) {
        image = image.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    return {image, false};
}

} // namespace verrabel
