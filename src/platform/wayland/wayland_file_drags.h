#pragma once

#include "platform/file_drags.h"
#include "platform/transfer_key_offer.h"

#include <QObject>

#include <memory>

class QEventLoop;
struct wl_callback;

namespace verrabel {

class WaylandDragSource;

/// Rows dragged out natively, offering the files' transfer key beside their paths as the X11
/// drag does: sandboxed targets ask for it. Falls back to Qt's own drag, without the key, where
/// the compositor or Qt cannot give a drag of Verrabel's own.
class WaylandFileDrags final : public QObject, public FileDrags {
public:
    WaylandFileDrags(FileTransfers& transfers, QueueFactory& queues);
    ~WaylandFileDrags() override;
    WaylandFileDrags(const WaylandFileDrags&) = delete;
    WaylandFileDrags& operator=(const WaylandFileDrags&) = delete;

    void dragOut(QWidget* source, const QList<QUrl>& files, const QIcon& icon) override;

    /// Qt has handled what the compositor sent before the drop ended.
    void caughtUp();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void ended(int drag, bool dropped);

    TransferKeyOffer m_key;
    std::unique_ptr<WaylandDragSource> m_source;
    /// The drag under way and the loop that waits for its end, while there is one.
    int m_drag = 0;
    QEventLoop* m_waiting = nullptr;
    wl_callback* m_catchingUp = nullptr;
};

} // namespace verrabel
