#include "row_thumbnails.h"

#include "platform/main_thread.h"
#include "platform/work_queue.h"
#include "thumbnail_decoding.h"

#include <optional>
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
          queues.makeSerialQueue(QStringLiteral("Verrabel.thumbnails"), QueuePriority::Utility)) {
    limitImageAllocations(DecodingLimits());
}

RowThumbnails::~RowThumbnails() = default;

std::shared_ptr<void> RowThumbnails::request(QObject* requester, const QString& path,
                                             double modified, int pixels, Shown shown) {
    const QString key = path + QLatin1Char('\n') + QString::number(modified, 'g', 17) +
                        QLatin1Char('\n') + QString::number(pixels);
    std::optional<qint64> noneSince;
    if (const Answer* known = m_recent.object(key)) {
        if (!known->image.isNull()) {
            shown(known->image);
            return nullptr;
        }
        noneSince = known->cacheChanged;
    }
    auto wanted = std::make_shared<int>(0);
    m_queue->submit([this, cache = m_cache, interest = std::weak_ptr<void>(wanted),
                     requesterAlive = QPointer<QObject>(requester), path, pixels, key, noneSince,
                     shown = std::move(shown)]() mutable {
        if (interest.expired()) {
            return; // scrolled away before its turn
        }
        Answer answer{{}, cache->changed()};
        if (noneSince == answer.cacheChanged) {
            return; // none then, and the cache is as it was
        }
        answer.image = cache->thumbnailFor(path, pixels);
        postToMain(&m_context,
                   [this, key, answer = std::move(answer),
                    requesterAlive = std::move(requesterAlive), shown = std::move(shown)] {
                       remember(key, answer);
                       if (requesterAlive && !answer.image.isNull()) {
                           shown(answer.image);
                       }
                   });
    });
    return wanted;
}

void RowThumbnails::remember(const QString& key, const Answer& answer) {
    const auto cost = static_cast<int>(std::max<qsizetype>(answer.image.sizeInBytes() / 1024, 1));
    m_recent.insert(key, new Answer(answer), cost);
}

} // namespace verrabel
