#pragma once

#include "platform/file_promises.h"
#include "platform/linux/delivery_watch.h"
#include "xds_exchange.h"

#include <QObject>

#include <atomic>
#include <list>
#include <thread>

namespace verrabel {

class X11HeldDrops;
class X11TransferKeys;

/// File promises on X11: the X Direct Save protocol (XdndDirectSave0), spoken by archive
/// managers, image editors and browsers. On a drop the source proposes a name on its window;
/// we write back the URL of a file inside our folder, ask for the XdndDirectSave0 selection,
/// and the source writes there and answers "S", "F" (we are to fetch the bytes ourselves) or
/// "E". The answer tells when the folder's content is complete; what arrives in the folder
/// counts: some sources answer "E" for a file they wrote, or write under a name of their own.
///
/// The target is to fetch an "F" source's bytes before it says the drop is finished: a drop
/// that offers a promise is held back from Qt (`X11HeldDrops`), and the exchange, on a thread
/// of its own, finishes it once the source has answered. Nothing in the drop waits for the X
/// server or the source. A portal's transfer key is read the same way (`X11TransferKeys`).
class XdsFilePromises final : public QObject, public FilePromises {
    Q_OBJECT
public:
    XdsFilePromises(X11HeldDrops& drops, X11TransferKeys& keys);
    ~XdsFilePromises() override;
    XdsFilePromises(const XdsFilePromises&) = delete;
    XdsFilePromises& operator=(const XdsFilePromises&) = delete;

    [[nodiscard]] bool offers(const QMimeData& data) const override;
    [[nodiscard]] QList<std::shared_ptr<FilePromise>> receivers(const QMimeData& data) override;
    bool readTransferKey(const QMimeData& data, TransferKeyRead read) override;

    /// Asks the source, and waits in the background for its answer and for what arrives in
    /// `folder`; reports on the main thread.
    void watch(const QString& folder, std::uint32_t source, std::uint32_t time,
               std::unique_ptr<DeliveryRules> rules, FilePromise::Delivered delivered);

private:
    struct Watch {
        std::atomic<bool> done = false;
        std::jthread thread;
    };

    X11HeldDrops& m_drops;
    X11TransferKeys& m_keys;
    /// Stopped and joined when Verrabel quits; finished ones are dropped as new ones start.
    std::list<Watch> m_watches;
};

} // namespace verrabel
