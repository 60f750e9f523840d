#pragma once

#include "platform/file_drags.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>
#include <QObject>
#include <QString>

#include <xcb/xcb.h>

#include <memory>
#include <vector>

namespace verrabel {

class FileTransfers;
class QueueFactory;
class WorkQueue;

/// Drags with Qt's QDrag on X11, and the drag's data for whoever asks, until another drag begins.
///
/// Qt serves a request for the data only when its time is the drag's own or the requestor takes
/// part in XDND itself. A compositor that bridges the drag into native Wayland windows asks from
/// a window of its own, with a time of its own (mutter): Qt says there is no data, and the drop
/// comes to nothing. So every request for the drag's selection is answered here.
///
/// A sandboxed target cannot open the file's path: it asks for a document-portal transfer key
/// instead. The key is made only when one asks, off the main thread, and the request answered
/// when it is there; it stays valid until the next drag.
class X11FileDrags final : public FileDrags, private QAbstractNativeEventFilter {
public:
    X11FileDrags(FileTransfers& transfers, QueueFactory& queues);
    ~X11FileDrags() override;
    X11FileDrags(const X11FileDrags&) = delete;
    X11FileDrags& operator=(const X11FileDrags&) = delete;

    void dragOut(QWidget* source, const QUrl& file, const QIcon& icon) override;

private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void answer(const xcb_selection_request_event_t& request);
    /// Answers the requests waiting for the transfer key, with it or with nothing.
    void answerWaiting();
    void forgetDrag();

    FileTransfers& m_transfers;
    /// The data of the last drag, in the forms answered: a URI list and a plain path.
    QByteArray m_uris;
    QByteArray m_path;
    /// The transfer key of the last drag's file, once made; "making" while it is being made.
    enum class Key { None, Making, Made, Failed } m_keyState = Key::None;
    QString m_key;
    std::vector<xcb_selection_request_event_t> m_waiting;
    /// Counts drags, so that a key made for an earlier one is not taken for the current one.
    int m_drag = 0;
    /// Where the key comes back to; goes with this object.
    QObject m_context;
    /// Last: it stops, and posts nothing more, before the rest goes.
    std::unique_ptr<WorkQueue> m_queue;
};

} // namespace verrabel
