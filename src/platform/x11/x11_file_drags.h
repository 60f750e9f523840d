#pragma once

#include "platform/file_drags.h"
#include "platform/transfer_key_offer.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>

#include <xcb/xcb.h>

#include <optional>

namespace verrabel {

class FileTransfers;
class QueueFactory;

/// Drags with Qt's QDrag on X11, and the drag's data for whoever asks, until another drag begins.
///
/// Qt serves a request for the data only when its time is the drag's own or the requestor takes
/// part in XDND itself. A compositor that bridges the drag into native Wayland windows asks from
/// a window of its own, with a time of its own (mutter): Qt says there is no data, and the drop
/// comes to nothing. So every request for the drag's selection is answered here.
///
/// A sandboxed target cannot open the file's path: it asks for a document-portal transfer key
/// instead, which is made only then (`TransferKeyOffer`); X lets the request be answered late.
class X11FileDrags final : public FileDrags, private QAbstractNativeEventFilter {
public:
    X11FileDrags(FileTransfers& transfers, QueueFactory& queues);
    ~X11FileDrags() override;
    X11FileDrags(const X11FileDrags&) = delete;
    X11FileDrags& operator=(const X11FileDrags&) = delete;

    void dragOut(QWidget* source, const QList<QUrl>& files, const QIcon& icon) override;

private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    /// Answers with the data of the type asked for; the key only once the drag still is ours.
    void answer(const xcb_selection_request_event_t& request,
                const std::optional<QByteArray>& key = std::nullopt);
    void forgetDrag();

    /// The data of the last drag, in the forms answered: a URI list and plain paths, a line each.
    QByteArray m_uris;
    QByteArray m_paths;
    TransferKeyOffer m_key;
};

} // namespace verrabel
