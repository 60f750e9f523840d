#pragma once

#include "platform/file_promises.h"
#include "platform/linux/delivery_watch.h"

#include <QAbstractNativeEventFilter>
#include <QObject>

#include <atomic>
#include <list>
#include <thread>

namespace verrabel {

class XdsExchange;

/// File promises on X11: the X Direct Save protocol (XdndDirectSave0), spoken by archive
/// managers, image editors and browsers. On a drop the source proposes a name on its window;
/// we write back the URL of a file inside our folder, ask for the XdndDirectSave0 selection,
/// and the source writes there and answers "S", "F" (we are to fetch the bytes ourselves) or
/// "E". The answer tells when the folder's content is complete; what arrives in the folder
/// counts: some sources answer "E" for a file they wrote, or write under a name of their own.
class XdsFilePromises final : public QObject,
                              public FilePromises,
                              private QAbstractNativeEventFilter {
    Q_OBJECT
public:
    XdsFilePromises();
    ~XdsFilePromises() override;
    XdsFilePromises(const XdsFilePromises&) = delete;
    XdsFilePromises& operator=(const XdsFilePromises&) = delete;

    [[nodiscard]] bool offers(const QMimeData& data) const override;
    [[nodiscard]] QList<std::shared_ptr<FilePromise>> receivers(const QMimeData& data) override;

    /// Waits in the background for the source's answer and for what arrives in `folder`;
    /// reports on the main thread.
    void watch(const QString& folder, std::unique_ptr<XdsExchange> exchange,
               std::unique_ptr<DeliveryRules> rules, FilePromise::Delivered delivered);

private:
    /// Notes the source and time of each drop, which the source's answers are asked with.
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

    struct Watch {
        std::atomic<bool> done = false;
        std::jthread thread;
    };

    std::uint32_t m_dropAtom = 0;
    std::uint32_t m_dropSource = 0;
    std::uint32_t m_dropTime = 0;
    /// Stopped and joined when Verrabel quits; finished ones are dropped as new ones start.
    std::list<Watch> m_watches;
};

} // namespace verrabel
