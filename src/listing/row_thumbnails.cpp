#include "row_thumbnails.h"

#include "platform/main_thread.h"
#include "platform/work_queue.h"

#include <utility>

namespace verrabel {

namespace {

// In kilobytes: a few hundred rows' worth of icons at twice the pixels.
constexpr int kRecentCost = 8 * 1024;

} // namespace

RowThumbnails::RowThumbnails(QueueFactory& queues, const QString& cacheRoot)
    : m_cache(std::make_shared<const ThumbnailCache>(cacheRoot))
    , m_recent(kRecentCost)
    , m_queue(
          queues.makeSerialQueue(QStringLiteral("Verrabel.thumbnails"), QueuePriority::Utility)) {}

RowThumbnails::~RowThumbnails() = default;

std::shared_ptr<void> RowThumbnails::request(QObject* requester, const QString& path,
                                             double modified, int pixels, Shown shown) {
    const QString key = path + QLatin1Char('\n') + QString::number(modified, 'g', 17) +
                        QLatin1Char('\n') + QString::number(pixels);
    if (const QImage* known = m_recent.object(key)) {
        if (!known->isNull()) {
            shown(*known);
        }
        return nullptr;
    }
    auto wanted = std::make_shared<int>(0);
    m_queue->submit([this, cache = m_cache, interest = std::weak_ptr<void>(wanted),
                     requesterAlive = QPointer<QObject>(requester), path, pixels, key,
                     shown = std::move(shown)]() mutable {
        if (interest.expired()) {
            return; // scrolled away before its turn
        }
        QImage image = cache->thumbnailFor(path, pixels);
        postToMain(&m_context,
                   [this, key, image = std::move(image), requesterAlive = std::move(requesterAlive),
                    shown = std::move(shown)] {
                       remember(key, image);
                       if (requesterAlive && !image.isNull()) {
                           shown(image);
                       }
                   });
    });
    return wanted;
}

void RowThumbnails::remember(const QString& key, const QImage& image) {
    const auto cost = static_cast<int>(std::max<qsizetype>(image.sizeInBytes() / 1024, 1));
    m_recent.insert(key, new QImage(image), cost);
}

} // namespace verrabel
