#include "x11_file_drags.h"

#include "platform/file_transfers.h"
#include "platform/file_urls.h"
#include "platform/main_thread.h"
#include "platform/work_queue.h"
#include "xcb_calls.h"

#include <QCoreApplication>
#include <QDrag>
#include <QGuiApplication>
#include <QMimeData>
#include <QWidget>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace verrabel {

namespace {

constexpr int kImageSize = 32;

xcb_connection_t* qtConnection() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 != nullptr ? x11->connection() : nullptr;
}

/// Tells the requestor that its data is in `property`, or that there is none (XCB_NONE).
void notifySelection(xcb_connection_t* x, const xcb_selection_request_event_t& request,
                     xcb_atom_t property) {
    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    notify.property = property;
    std::array<char, 32> event{};
    std::memcpy(event.data(), &notify, sizeof notify);
    xcb_send_event(x, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, event.data());
    xcb_flush(x);
}

} // namespace

X11FileDrags::X11FileDrags(FileTransfers& transfers, QueueFactory& queues)
    : m_transfers(transfers)
    , m_queue(queues.makeSerialQueue(QStringLiteral("Verrabel.transfers"),
                                     QueuePriority::UserInitiated)) {
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11FileDrags::~X11FileDrags() {
    forgetDrag();
}

void X11FileDrags::dragOut(QWidget* source, const QUrl& file, const QIcon& icon) {
    forgetDrag();
    auto* data = new QMimeData;
    data->setUrls({file});
    m_uris = data->data(QStringLiteral("text/uri-list"));
    m_path = nativePathOf(file);
    auto* drag = new QDrag(source);
    drag->setMimeData(data);
    drag->setPixmap(icon.pixmap(QSize(kImageSize, kImageSize), source->devicePixelRatioF()));
    drag->setHotSpot(QPoint(kImageSize / 2, kImageSize / 2));
    // Copy only, whether the drop lands in Verrabel or elsewhere: the item is never moved.
    // Qt returns once it has sent the drop; the target may ask for the data after that (mutter
    // does when a native app reads it), and gets it until another drag begins. No wait for its
    // word: mutter sends none for drops into native apps.
    drag->exec(Qt::CopyAction, Qt::CopyAction);
}

void X11FileDrags::forgetDrag() {
    ++m_drag;
    m_uris.clear();
    m_path.clear();
    answerWaiting(); // with nothing: the data is gone
    if (m_keyState == Key::Made) {
        m_transfers.stop(m_key);
    }
    m_keyState = Key::None;
    m_key.clear();
}

bool X11FileDrags::nativeEventFilter(const QByteArray& /*eventType*/, void* message,
                                     qintptr* /*result*/) {
    xcb_connection_t* x = qtConnection();
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & 0x7f) {
    case XCB_SELECTION_REQUEST: {
        const auto* request = static_cast<const xcb_selection_request_event_t*>(message);
        if (request->selection != internAtom(x, "XdndSelection") || m_uris.isEmpty()) {
            return false;
        }
        answer(*request);
        return true;
    }
    case XCB_SELECTION_CLEAR:
        // Another drag has begun: ours is over, and its data no one's to ask for.
        if (static_cast<const xcb_selection_clear_event_t*>(message)->selection ==
            internAtom(x, "XdndSelection")) {
            forgetDrag();
        }
        return false;
    default:
        return false;
    }
}

void X11FileDrags::answer(const xcb_selection_request_event_t& request) {
    xcb_connection_t* x = qtConnection();
    const auto types =
        internAtoms(x, {"TARGETS", "text/uri-list", "application/vnd.portal.filetransfer",
                        "UTF8_STRING", "text/plain;charset=utf-8", "text/plain"});
    if (request.target == types[2] && m_keyState != Key::Made && m_keyState != Key::Failed) {
        m_waiting.push_back(request);
        if (m_keyState == Key::None) {
            m_keyState = Key::Making;
            m_queue->submit([this, path = m_path, drag = m_drag] {
                auto made = m_transfers.offer(path);
                const QString* key = std::get_if<QString>(&made);
                postToMain(&m_context, [this, drag, key = key ? *key : QString()] {
                    if (drag != m_drag) {
                        if (!key.isEmpty()) {
                            m_transfers.stop(key); // the drag it was for is over
                        }
                        return;
                    }
                    m_key = key;
                    m_keyState = key.isEmpty() ? Key::Failed : Key::Made;
                    answerWaiting();
                });
            });
        }
        return;
    }
    // Obsolete clients name no property: the data then goes into one named for its type.
    const xcb_atom_t property = request.property != XCB_NONE ? request.property : request.target;
    const QByteArray key = m_key.toUtf8();
    bool answered = true;
    if (request.target == types[0]) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, property, XCB_ATOM_ATOM,
                            32, static_cast<std::uint32_t>(types.size()), types.data());
    } else if (request.target == types[1]) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, property, request.target,
                            8, static_cast<std::uint32_t>(m_uris.size()), m_uris.constData());
    } else if (request.target == types[2] && m_keyState == Key::Made) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, property, request.target,
                            8, static_cast<std::uint32_t>(key.size()), key.constData());
    } else if (std::find(types.begin() + 3, types.end(), request.target) != types.end()) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, property, request.target,
                            8, static_cast<std::uint32_t>(m_path.size()), m_path.constData());
    } else {
        answered = false;
    }
    notifySelection(x, request, answered ? property : XCB_NONE);
}

void X11FileDrags::answerWaiting() {
    for (const xcb_selection_request_event_t& request : std::exchange(m_waiting, {})) {
        if (m_keyState == Key::Made && !m_uris.isEmpty()) {
            answer(request);
        } else {
            notifySelection(qtConnection(), request, XCB_NONE);
        }
    }
}

} // namespace verrabel
