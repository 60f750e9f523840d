#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

#include <optional>

namespace verrabel {

/// What reading one image may cost, in bytes: a Desktop item or a cache entry on disk, a
/// compressed drawing once inflated, and the pixels decoded.
struct DecodingLimits {
    qint64 fileBytes = qint64{200} << 20;
    qint64 drawingBytes = qint64{8} << 20;
    qint64 decodedBytes = qint64{128} << 20;
};

/// Qt's readers allocate by what a file says deep inside (a GIF frame larger than the image
/// whose size it told): their own limit on any one image, set for the whole process to
/// `limits.decodedBytes`. On the main thread, before any worker decodes.
void limitImageAllocations(const DecodingLimits& limits);

/// The whole of a regular file of at most `limit` bytes, or nothing: not for a FIFO, a device or
/// a folder (checked on the opened descriptor, which never waits for a writer), nor for a
/// symbolic link unless `followLinks`.
[[nodiscard]] std::optional<QByteArray> readRegularFile(const QString& path, qint64 limit,
                                                        bool followLinks);

/// Whether thumbnails are made from items of this name: the common image kinds, where this Qt
/// has their plugin.
[[nodiscard]] bool madeFromItsImage(const QString& path);

struct Decoded {
    /// Scaled to fit `side` × `side`, in 32 bits per pixel; null when there is none.
    QImage image;
    /// The bytes are no image of a kind thumbnails are made from: not to be tried again until
    /// the item changes. False where the image was only too costly to read.
    bool broken = false;
};

/// Decodes `bytes` within `limits`; `format` is a hint, such as the item's extension or "png".
/// A compressed drawing counts by its inflated size; an image that would decode to more than
/// the limit is not decoded at all.
[[nodiscard]] Decoded decodeImage(const QByteArray& bytes, const QByteArray& format, int side,
                                  const DecodingLimits& limits);

} // namespace verrabel
