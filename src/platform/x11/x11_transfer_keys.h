#pragma once

#include "platform/file_promises.h"

#include <QObject>

#include <atomic>
#include <list>
#include <thread>

class QMimeData;

namespace verrabel {

class X11HeldDrops;

/// The document-portal transfer key of a drop from a sandboxed application, read from the
/// drag's selection on an X connection and a thread of its own: the source makes the transfer
/// before it answers, which may take it seconds, and the main thread goes on meanwhile. The
/// drop is held back from Qt until the source has answered (or ten seconds went by), since a
/// source may give up its selection once told that the drop is finished.
class X11TransferKeys final : public QObject {
    Q_OBJECT
public:
    explicit X11TransferKeys(X11HeldDrops& drops);
    ~X11TransferKeys() override;
    X11TransferKeys(const X11TransferKeys&) = delete;
    X11TransferKeys& operator=(const X11TransferKeys&) = delete;

    /// During a held-back drop that offers a key: reads it, finishes the drop and answers on
    /// the main thread. False for a drop that Qt finishes.
    bool read(const QMimeData& data, TransferKeyRead answer);

private:
    struct Reader {
        std::atomic<bool> done = false;
        std::jthread thread;
    };

    X11HeldDrops& m_drops;
    /// Stopped and joined when Verrabel quits; finished ones are dropped as new ones start.
    std::list<Reader> m_readers;
};

} // namespace verrabel
