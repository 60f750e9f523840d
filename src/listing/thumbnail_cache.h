#pragma once

#include <QByteArray>
#include <QImage>
#include <QString>

namespace verrabel {

/// The thumbnail cache that file managers share ($XDG_CACHE_HOME/thumbnails): a thumbnail is
/// found by the MD5 of the item's URI and counts only while it names that URI and the item's
/// modification time. Images Qt can read get one made and stored there, so the file manager
/// gains it too; those that cannot be read are remembered under fail/ and not tried again
/// until they change. Reads and writes the disk: for background threads.
class ThumbnailCache final {
public:
    /// `root` is the cache's folder, the one that holds normal/, large/ and fail/.
    explicit ThumbnailCache(QString root);

    /// The item's thumbnail, scaled to fit `pixels` × `pixels`, or a null image when it has
    /// none and none can be made.
    [[nodiscard]] QImage thumbnailFor(const QString& path, int pixels) const;

    /// When a thumbnail was last added to the cache, in nanoseconds: any program's, in any size.
    [[nodiscard]] qint64 changed() const;

    /// The item's URI as the cache names it: file://, percent-encoded as GLib does.
    [[nodiscard]] static QByteArray uriOf(const QString& path);
    /// The file name of the URI's thumbnail in every size folder.
    [[nodiscard]] static QString fileNameOf(const QByteArray& uri);
    /// The size folder that holds thumbnails for `pixels` (normal/ up to 128, large/ up to 256…).
    [[nodiscard]] static QString folderFor(int pixels);

private:
    struct Item {
        QString path;
        QByteArray uri;
        QString fileName;
        qint64 modified = 0;
        qint64 size = 0;
    };

    [[nodiscard]] QImage cached(const Item& item, int pixels) const;
    [[nodiscard]] bool failedBefore(const Item& item) const;
    [[nodiscard]] QImage make(const Item& item, int pixels) const;
    void store(const Item& item, QImage image, const QString& folder) const;

    QString m_root;
};

} // namespace verrabel
