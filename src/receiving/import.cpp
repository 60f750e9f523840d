// Copying dropped files into the Desktop, and telling the user how it went.

#include "file_store.h"
#include "platform/alerts.h"
#include "platform/main_thread.h"
#include "platform/platform.h"
#include "platform/work_queue.h"
#include "shelf/controls.h"
#include "shelf/shelf_controller.h"

#include <algorithm>

namespace verrabel {

void ShelfController::importFiles(const QList<QUrl>& urls) {
    ++busy;
    message->setText(QStringLiteral("正在复制到桌面…"));
    fileQueue->submit([this, urls, folder = desktop] {
        QStringList errors;
        for (const QUrl& url : urls) {
            const CopyResult copied = FileStore::copy(url, folder);
            if (copied.error) {
                errors.append(url.adjusted(QUrl::StripTrailingSlash).fileName() +
                              QStringLiteral("：") + copied.error->description);
            }
        }
        postToMain(this, [this, errors, total = urls.size()] { finish(errors, total); });
    });
}

void ShelfController::finish(const QStringList& errors, qsizetype total) {
    busy = std::max<std::int64_t>(busy - 1, 0);
    refresh();
    message->setText(errors.isEmpty() ? QStringLiteral("已存到桌面 · %1 个项目").arg(total)
                                      : QStringLiteral("%1 个项目保存失败").arg(errors.size()));
    if (!errors.isEmpty()) {
        // One alert for the whole drop, however many items failed.
        m_platform.alerts.runModal({QStringLiteral("部分文件未能保存"),
                                    errors.join(QLatin1Char('\n')),
                                    {QStringLiteral("好")}});
    }
}

} // namespace verrabel
