// Receiving files that the drag's source writes only after the drop: each into a private
// staging folder in the Desktop first, on its file system, then moved in by a rename.

#include "delivery_policy.h"
#include "file_store.h"
#include "platform/alerts.h"
#include "platform/file_promises.h"
#include "platform/main_thread.h"
#include "platform/platform.h"
#include "platform/work_queue.h"
#include "shelf/controls.h"
#include "shelf/shelf_controller.h"

#include <QDir>
#include <QPointer>

#include <algorithm>

namespace verrabel {

void ShelfController::receive(const QList<std::shared_ptr<FilePromise>>& receivers) {
    for (const auto& promise : receivers) {
        // Where the file will live: no second copy, and no limit but the Desktop's own.
        const CopyResult staging = FileStore::makeStaging(desktop);
        if (staging.error) {
            m_platform.alerts.runModal({QStringLiteral("部分文件未能保存"),
                                        staging.error->description,
                                        {QStringLiteral("好")}});
            continue;
        }
        const QString folder = staging.path;
        ++busy;
        message->setText(QStringLiteral("正在接收文件…"));
        promise->receive(
            folder, std::make_unique<DeliveryPolicy>(),
            [weak = QPointer(this), folder](const Delivery& delivery) {
                if (!weak) {
                    return;
                }
                ShelfController* self = weak.data();
                self->promiseQueue->submit([self, folder, delivery, desktopFolder = self->desktop] {
                    QStringList errors;
                    if (delivery.error) {
                        // Named by what the source left. The name it proposed is not said: an
                        // archiver's is a stand-in ("xds.txt") for entries of their own names.
                        for (const QString& name : delivery.failed) {
                            errors.append(name + QStringLiteral("：") + *delivery.error);
                        }
                        if (delivery.failed.isEmpty()) {
                            errors.append(*delivery.error);
                        }
                    }
                    for (const QUrl& item : delivery.items) {
                        if (const CopyResult moved = FileStore::move(item, desktopFolder);
                            moved.error) {
                            errors.append(moved.error->description);
                        }
                    }
                    if (!delivery.folderInUse) {
                        QDir(folder).removeRecursively();
                    }
                    // One promise may bring several items (an archiver's entries under one
                    // name); it counts one when it brought none.
                    const qsizetype total =
                        std::max<qsizetype>(delivery.items.size() + (delivery.error ? 1 : 0), 1);
                    postToMain(self, [self, errors, total] { self->finish(errors, total); });
                });
            });
    }
}

} // namespace verrabel
