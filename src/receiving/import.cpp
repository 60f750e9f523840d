// Copying dropped files into the Desktop, and telling the user how it went.

#include "file_store.h"
#include "platform/alerts.h"
#include "platform/file_transfers.h"
#include "platform/file_urls.h"
#include "platform/main_thread.h"
#include "platform/platform.h"
#include "platform/work_queue.h"
#include "shelf/controls.h"
#include "shelf/shelf_controller.h"

#include <QPointer>

#include <algorithm>
#include <unistd.h>

namespace verrabel {

namespace {

QString errorLine(const QUrl& url, const QString& description) {
    // From the path itself: an archive's entry (archive://file%253A…) is no valid URL to Qt,
    // and adjusting one gives nothing.
    QString path = url.path();
    while (path.size() > 1 && path.endsWith(QLatin1Char('/'))) {
        path.chop(1);
    }
    return path.section(QLatin1Char('/'), -1) + QStringLiteral("：") + description;
}

/// Copies every item, in order; a failure is a line and never stops the rest.
QStringList copyAll(const QList<QUrl>& urls, const QString& folder) {
    QStringList errors;
    for (const QUrl& url : urls) {
        const CopyResult copied = FileStore::copy(url, folder);
        if (copied.error) {
            errors.append(errorLine(url, copied.error->description));
        }
    }
    return errors;
}

QString describe(const TransferError& error) {
    switch (error.failure) {
    case TransferFailure::NoPortal:
        return QStringLiteral("来自沙盒应用，但文档门户（xdg-desktop-portal）没有运行");
    case TransferFailure::NoAnswer:
        return QStringLiteral("来自沙盒应用，但文档门户没有应答");
    case TransferFailure::Refused:
        break;
    }
    return error.detail.isEmpty()
               ? QStringLiteral("来自沙盒应用，但文档门户拒绝交出文件")
               : QStringLiteral("来自沙盒应用，但文档门户拒绝交出文件（%1）").arg(error.detail);
}

bool readable(const QUrl& url) {
    return url.isLocalFile() && ::access(nativePathOf(url).constData(), R_OK) == 0;
}

} // namespace

void ShelfController::importFiles(const QList<QUrl>& urls) {
    ++busy;
    message->setText(QStringLiteral("正在复制到桌面…"));
    fileQueue->submit([this, urls, folder = desktop] {
        QStringList errors = copyAll(urls, folder);
        postToMain(this, [this, errors, total = urls.size()] { finish(errors, total); });
    });
}

TransferKeyRead ShelfController::importTransferredOnceRead(const QList<QUrl>& urls) {
    ++busy;
    message->setText(QStringLiteral("正在复制到桌面…"));
    return [self = QPointer<ShelfController>(this), urls](const std::optional<QString>& key) {
        if (self) {
            self->copyTransferred(key, urls);
        }
    };
}

void ShelfController::copyTransferred(const std::optional<QString>& key, const QList<QUrl>& urls) {
    fileQueue->submit([this, key, urls, folder = desktop, &transfers = m_platform.transfers] {
        QList<QUrl> items;
        QStringList errors;
        // A path the sender names is one inside its sandbox, whatever the host has there: the
        // portal's answer is what was dragged.
        auto retrieved = key ? transfers.retrieve(*key)
                             : std::variant<QStringList, TransferError>(QStringList());
        const auto* paths = std::get_if<QStringList>(&retrieved);
        if (paths != nullptr && !paths->isEmpty()) {
            for (const QString& path : *paths) {
                items.append(QUrl::fromLocalFile(path));
            }
        } else {
            // The portal has none of them: the host's paths are all there is, where readable.
            const QString why = !key ? QStringLiteral("来源程序没有交出文件")
                                : paths != nullptr ? describe(TransferError{})
                                                   : describe(std::get<TransferError>(retrieved));
            for (const QUrl& url : urls) {
                if (readable(url)) {
                    items.append(url);
                } else {
                    errors.append(errorLine(url, why));
                }
            }
            if (urls.isEmpty()) {
                errors.append(QStringLiteral("拖入的文件：") + why);
            }
        }
        errors += copyAll(items, folder);
        const qsizetype total = std::max(items.size(), errors.size());
        postToMain(this, [this, errors, total] { finish(errors, total); });
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
