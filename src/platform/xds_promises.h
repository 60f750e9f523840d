#pragma once

#include "delivery_watch.h"
#include "file_promises.h"

#include <QObject>

#include <atomic>
#include <list>
#include <thread>

namespace verrabel {

/// File promises on X11: the X Direct Save protocol (XdndDirectSave0), spoken by archive
/// managers, image editors and browsers. On a drop the source proposes a name on its window;
/// we write back the URL of a file inside our folder, ask for the XdndDirectSave0 selection,
/// and the source writes there and answers "S", "F" (we are to fetch the bytes ourselves) or
/// "E". What arrives in the folder counts, not the answer: some sources answer "E" for a file
/// they wrote, or write under a name of their own.
class XdsFilePromises final : public QObject, public FilePromises {
    Q_OBJECT
public:
    explicit XdsFilePromises(DeliveryTimes times = {});
    ~XdsFilePromises() override;
    XdsFilePromises(const XdsFilePromises&) = delete;
    XdsFilePromises& operator=(const XdsFilePromises&) = delete;

    [[nodiscard]] bool offers(const QMimeData& data) const override;
    [[nodiscard]] QList<std::shared_ptr<FilePromise>> receivers(const QMimeData& data) override;

    /// Waits in the background for what arrives in `folder`, after writing `bytes` there as
    /// `ownFile` when the source left that to us; reports on the main thread.
    void watch(const QString& folder, bool refused, const QByteArray& bytes, const QString& ownFile,
               FilePromise::Delivered delivered);

private:
    struct Watch {
        std::atomic<bool> done = false;
        std::jthread thread;
    };

    DeliveryTimes m_times;
    /// Stopped and joined when Verrabel quits; finished ones are dropped as new ones start.
    std::list<Watch> m_watches;
};

} // namespace verrabel
