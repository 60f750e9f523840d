#include "xds_promises.h"

#include "platform/main_thread.h"
#include "xcb_calls.h"
#include "xds_exchange.h"

#include <QCoreApplication>
#include <QDir>
#include <QDropEvent>
#include <QMimeData>

#include <pthread.h>

namespace verrabel {

namespace {

constexpr auto kDirectSave = "XdndDirectSave0";
// How long the exchange waits for the source's answer before it finishes the drop; sources
// answer at once, and a later answer is still heard, only too late for fetching the bytes of one
// that gives up its selection.
constexpr double kAnswerWait = 0.1;

/// One drop's promise: the source window and the drop's time.
class XdsPromise final : public FilePromise {
public:
    XdsPromise(XdsFilePromises& promises, xcb_window_t source, xcb_timestamp_t time)
        : m_promises(promises)
        , m_source(source)
        , m_time(time) {}

    void receive(const QString& folder, std::unique_ptr<DeliveryRules> rules,
                 Delivered delivered) override {
        m_promises.watch(folder, m_source, m_time, std::move(rules), std::move(delivered));
    }

private:
    XdsFilePromises& m_promises;
    xcb_window_t m_source;
    xcb_timestamp_t m_time;
};

} // namespace

XdsFilePromises::XdsFilePromises() {
    if (xcb_connection_t* x11 = qtX11Connection()) {
        // Interned now, so that the drop makes no round trip for them.
        const std::vector<xcb_atom_t> atoms =
            internAtoms(x11, {"XdndDrop", "XdndLeave", "XdndFinished", "XdndActionCopy"});
        m_dropAtom = atoms[0];
        m_leaveAtom = atoms[1];
        QCoreApplication::instance()->installNativeEventFilter(this);
        QCoreApplication::instance()->installEventFilter(this);
    }
}

XdsFilePromises::~XdsFilePromises() = default;

bool XdsFilePromises::nativeEventFilter(const QByteArray& /*eventType*/, void* message,
                                        qintptr* /*result*/) {
    auto* event = static_cast<xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
        auto* client = static_cast<xcb_client_message_event_t*>(message);
        if (client->type == m_dropAtom && client->format == 32) {
            m_dropSource = client->data.data32[0];
            m_dropTime = client->data.data32[2];
            if (m_drag.target && m_drag.data != nullptr && offers(*m_drag.data)) {
                holdBack(*client);
            }
        }
    }
    return false;
}

void XdsFilePromises::holdBack(xcb_client_message_event_t& drop) {
    const Drag drag = std::exchange(m_drag, {});
    m_finish = XdsFinish{drop.window};
    QDropEvent dropped(drag.position, drag.actions, drag.data, drag.buttons, drag.modifiers);
    QCoreApplication::sendEvent(drag.target, &dropped);
    if (m_finish) {
        // No promise took the drop on: refused, here and now.
        sendDropFinished(qtX11Connection(), m_dropSource, drop.window, false);
        m_finish.reset();
    }
    // For Qt the drag left: it forgets it, and says nothing to the source.
    drop.type = m_leaveAtom;
    drop.data.data32[1] = drop.data.data32[2] = drop.data.data32[3] = drop.data.data32[4] = 0;
}

bool XdsFilePromises::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove:
        if (watched->isWidgetType()) {
            const auto* drag = static_cast<const QDragMoveEvent*>(event);
            m_drag =
                Drag{watched,         drag->position(), drag->mimeData(), drag->possibleActions(),
                     drag->buttons(), drag->modifiers()};
        }
        break;
    case QEvent::DragLeave:
    case QEvent::Drop:
        if (watched->isWidgetType()) {
            m_drag = {};
        }
        break;
    default:
        break;
    }
    return false;
}

bool XdsFilePromises::offers(const QMimeData& data) const {
    return data.hasFormat(QString::fromLatin1(kDirectSave));
}

QList<std::shared_ptr<FilePromise>> XdsFilePromises::receivers(const QMimeData& data) {
    if (qtX11Connection() == nullptr || !offers(data) || m_dropSource == XCB_NONE) {
        return {};
    }
    return {std::make_shared<XdsPromise>(*this, m_dropSource, m_dropTime)};
}

void XdsFilePromises::watch(const QString& folder, std::uint32_t source, std::uint32_t time,
                            std::unique_ptr<DeliveryRules> rules,
                            FilePromise::Delivered delivered) {
    m_watches.remove_if([](const Watch& watch) { return watch.done.load(); });
    Watch& watch = m_watches.emplace_back();
    // A drop held back is finished by its exchange; one that Qt handled, by Qt.
    watch.thread = std::jthread(
        [this, &watch, folder, source, time, finish = std::exchange(m_finish, std::nullopt),
         rules = std::move(rules), delivered = std::move(delivered)](const std::stop_token& stop) {
            pthread_setname_np(pthread_self(), "Verrabel.xds");
            XdsExchange exchange(source, time, folder, kAnswerWait, finish);
            const Delivery delivery = awaitDelivery(folder, *rules, stop, exchange);
            if (stop.stop_requested()) {
                // Verrabel is quitting: nobody will take what is in the folder.
                QDir(folder).removeRecursively();
            } else {
                postToMain(this, [delivered, delivery] { delivered(delivery); });
            }
            watch.done = true;
        });
}

} // namespace verrabel
