#pragma once

#include "platform/file_promises.h"
#include "platform/linux/delivery_watch.h"
#include "xds_exchange.h"

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QPointF>
#include <QPointer>

#include <xcb/xcb.h>

#include <atomic>
#include <list>
#include <optional>
#include <thread>

namespace verrabel {

/// File promises on X11: the X Direct Save protocol (XdndDirectSave0), spoken by archive
/// managers, image editors and browsers. On a drop the source proposes a name on its window;
/// we write back the URL of a file inside our folder, ask for the XdndDirectSave0 selection,
/// and the source writes there and answers "S", "F" (we are to fetch the bytes ourselves) or
/// "E". The answer tells when the folder's content is complete; what arrives in the folder
/// counts: some sources answer "E" for a file they wrote, or write under a name of their own.
///
/// The target is to fetch an "F" source's bytes before it says the drop is finished, and Qt says
/// so as soon as the drop event returns. So a drop that offers a promise is held back from Qt:
/// the view gets the drop from here, Qt is told that the drag left, and the exchange, on a
/// thread of its own, finishes the drop once the source has answered. Nothing in the drop
/// waits for the X server or the source.
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

    /// Asks the source, and waits in the background for its answer and for what arrives in
    /// `folder`; reports on the main thread.
    void watch(const QString& folder, std::uint32_t source, std::uint32_t time,
               std::unique_ptr<DeliveryRules> rules, FilePromise::Delivered delivered);

private:
    /// Notes the source and time of each drop, which the source's answers are asked with, and
    /// holds back the drop of a promise.
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    /// Notes where a drag is over which widget, with what data: where a held-back drop goes.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void holdBack(xcb_client_message_event_t& drop);

    struct Watch {
        std::atomic<bool> done = false;
        std::jthread thread;
    };

    std::uint32_t m_dropAtom = 0;
    std::uint32_t m_leaveAtom = 0;
    std::uint32_t m_dropSource = 0;
    std::uint32_t m_dropTime = 0;
    /// The drag as the last widget it moved over saw it; no data when there is none.
    struct Drag {
        QPointer<QObject> target;
        QPointF position;
        const QMimeData* data = nullptr;
        Qt::DropActions actions;
        Qt::MouseButtons buttons;
        Qt::KeyboardModifiers modifiers;
    };
    Drag m_drag;
    /// The finish of the drop being held back, until a promise takes it on.
    std::optional<XdsFinish> m_finish;
    /// Stopped and joined when Verrabel quits; finished ones are dropped as new ones start.
    std::list<Watch> m_watches;
};

} // namespace verrabel
