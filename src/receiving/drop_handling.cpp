// The shelf as a drop target: which drags it takes, the drop hint, and handing the items over.

#include "platform/file_promises.h"
#include "platform/file_transfers.h"
#include "shelf/controls.h"
#include "shelf/drop_view.h"
#include "shelf/shelf_controller.h"

#include <QDragEnterEvent>
#include <QMimeData>

namespace verrabel {

namespace {

/// Whether the URL names an item: a local file, or one that is not but that file managers
/// offer (an archive's entry, archive://; a file on a share or in the trash), which the import
/// then says it cannot save. Web pages and other links are not items.
bool namesAnItem(const QUrl& url) {
    static const QStringList kLocations{
        QStringLiteral("archive"), QStringLiteral("sftp"),    QStringLiteral("smb"),
        QStringLiteral("dav"),     QStringLiteral("davs"),    QStringLiteral("nfs"),
        QStringLiteral("afp"),     QStringLiteral("trash"),   QStringLiteral("recent"),
        QStringLiteral("mtp"),     QStringLiteral("gphoto2"), QStringLiteral("afc"),
        QStringLiteral("fish"),    QStringLiteral("admin"),   QStringLiteral("google-drive")};
    return url.isLocalFile() || kLocations.contains(url.scheme());
}

QList<QUrl> droppedItems(const QMimeData* data) {
    QList<QUrl> items;
    for (const QUrl& url : data->urls()) {
        if (namesAnItem(url)) {
            items.append(url);
        }
    }
    return items;
}

/// The document-portal transfer key a sandboxed application's drag carries, or empty.
QString transferKeyIn(const QMimeData* data) {
    // GTK ends the key with a NUL, as a C string.
    return QString::fromUtf8(data->data(QString::fromLatin1(kTransferKeyType)))
        .remove(QChar())
        .trimmed();
}

} // namespace

bool DropView::accepts(const QMimeData* mime) {
    // Web links are URLs too, but nothing that can be copied into a folder.
    if (QList<QUrl> files = droppedItems(mime); !files.isEmpty()) {
        m_draggedFiles = std::move(files);
    }
    // The key itself is asked for only at the drop: asking has the source make a transfer.
    m_offersTransfer = m_offersTransfer || mime->hasFormat(QString::fromLatin1(kTransferKeyType));
    return !m_draggedFiles.isEmpty() || m_offersTransfer || m_promises.offers(*mime);
}

bool DropView::acceptable(const QDropEvent* event) {
    // Only copy is ever answered; the source's other operations are not looked at.
    return accepts(event->mimeData()) && event->possibleActions().testFlag(Qt::CopyAction);
}

void DropView::dragEnterEvent(QDragEnterEvent* event) {
    m_draggedFiles.clear(); // a new drag
    m_offersTransfer = false;
    if (!acceptable(event)) {
        event->ignore();
        return;
    }
    if (const QPointer<ShelfController> controller = owner) {
        controller->receiving = true;
        controller->expand();
    }
    dropHighlighted = true;
    updateRim();
    if (const QPointer<ShelfController> controller = owner) {
        controller->message->setText(QStringLiteral("松手即可存到桌面"));
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void DropView::dragMoveEvent(QDragMoveEvent* event) {
    if (!acceptable(event)) {
        event->ignore();
        return;
    }
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void DropView::dragLeaveEvent(QDragLeaveEvent* /*event*/) {
    clearDropState();
}

void DropView::dropEvent(QDropEvent* event) {
    const QPointer<ShelfController> controller = owner;
    if (!controller) {
        clearDropState();
        event->ignore();
        return;
    }
    // Promises first: a drag that offers both is received as promises, its URLs ignored.
    if (const auto promises = m_promises.receivers(*event->mimeData()); !promises.isEmpty()) {
        controller->receive(promises);
        clearDropState();
        event->setDropAction(Qt::CopyAction);
        event->accept();
        return;
    }
    // A read that gives nothing at all failed; one that gives only web links did not.
    const QList<QUrl> files =
        event->mimeData()->urls().isEmpty() ? m_draggedFiles : droppedItems(event->mimeData());
    // Handed over first: the imports and receive() raise `busy` before `receiving` falls, so
    // the shelf's hold against collapsing never lapses between the two.
    // Rows of the shelf's own, dropped back on it, are read from their paths: asking their drag
    // for its key would wait on this very thread, which makes it.
    if (m_offersTransfer && !controller->exporting) {
        // The source may take seconds to give its key: read in the background where the
        // platform can, else here.
        TransferKeyRead keyRead = controller->importTransferredOnceRead(files);
        if (!m_promises.readTransferKey(*event->mimeData(), keyRead)) {
            const QString key = transferKeyIn(event->mimeData());
            keyRead(key.isEmpty() ? std::nullopt : std::optional(key));
        }
    } else if (!files.isEmpty()) {
        controller->importFiles(files);
    } else {
        // The hint stays: nothing replaced it.
        clearDropState();
        event->ignore();
        return;
    }
    clearDropState();
    event->setDropAction(Qt::CopyAction);
    event->accept();
}

void DropView::clearDropState() {
    m_draggedFiles.clear();
    m_offersTransfer = false;
    if (owner) {
        owner->receiving = false;
    }
    dropHighlighted = false;
    updateRim();
}

} // namespace verrabel
