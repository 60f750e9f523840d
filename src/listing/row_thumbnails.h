#pragma once

#include "thumbnail_cache.h"

#include <QCache>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>

namespace verrabel {

class QueueFactory;
class WorkQueue;

/// Thumbnails for the rows on screen: looked up and made one after another on a queue of their
/// own, kept in memory for the rows scrolled past, and handed to the row that asked on the main
/// thread. A row that is gone before its turn costs nothing: its request is skipped. An item
/// found without one is looked up again once the cache has changed since (a file manager made
/// one meanwhile).
class RowThumbnails final {
public:
    /// `cacheRoot` is the shared thumbnail cache's folder.
    RowThumbnails(QueueFactory& queues, const QString& cacheRoot);
    ~RowThumbnails();
    RowThumbnails(const RowThumbnails&) = delete;
    RowThumbnails& operator=(const RowThumbnails&) = delete;

    using Shown = std::function<void(const QImage&)>;
    /// Asks for the item's thumbnail, `pixels` wide, for the item as it was at `modified`.
    /// `shown` runs on the main thread with it, at once when it is in memory, and only while
    /// `requester` lives and the returned handle is held; never when there is none.
    [[nodiscard]] std::shared_ptr<void> request(QObject* requester, const QString& path,
                                                double modified, int pixels, Shown shown);

private:
    struct Answer {
        QImage image;            // null: none
        qint64 cacheChanged = 0; // the cache's ThumbnailCache::changed() when it was looked up
    };
    void remember(const QString& key, const Answer& answer);

    std::shared_ptr<const ThumbnailCache> m_cache;
    /// Recent answers, the items without a thumbnail too; main thread only.
    QCache<QString, Answer> m_recent;
    /// Where answers are delivered; goes with this object.
    QObject m_context;
    /// Last: it stops, and posts nothing more, before the rest goes.
    std::unique_ptr<WorkQueue> m_queue;
};

} // namespace verrabel
