// Receiving files that the drag's source writes only after the drop: each into a private
// temporary folder first, then into the Desktop like any dropped file.

#include "delivery_policy.h"
#include "file_store.h"
#include "platform/alerts.h"
#include "platform/file_promises.h"
#include "platform/folders.h"
#include "platform/main_thread.h"
#include "platform/platform.h"
#include "platform/private_folders.h"
#include "platform/work_queue.h"
#include "shelf/controls.h"
#include "shelf/shelf_controller.h"

#include <QDir>
#include <QPointer>
#include <QUuid>

#include <algorithm>

namespace verrabel {

void ShelfController::receive(const QList<std::shared_ptr<FilePromise>>& receivers) {
    for (const auto& promise : receivers) {
        const QString folder =
            QDir(m_platform.folders.temporary())
                .filePath(QStringLiteral("Verrabel-") +
                          QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
        if (const auto failure = makePrivateFolder(folder)) {
            m_platform.alerts.runModal(
                {QStringLiteral("部分文件未能保存"), *failure, {QStringLiteral("好")}});
            continue;
        }
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
                        errors.append(*delivery.error);
                    }
                    for (const QUrl& item : delivery.items) {
                        if (const CopyResult copied = FileStore::copy(item, desktopFolder);
                            copied.error) {
                            errors.append(copied.error->description);
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
