#include "x11_file_drags.h"

#include "platform/desktop/copy_drag.h"
#include "platform/file_transfers.h"
#include "platform/file_urls.h"
#include "xcb_calls.h"

#include <QCoreApplication>
#include <QMimeData>
#include <QWidget>

#include <algorithm>
#include <array>
#include <cstring>

namespace verrabel {

X11FileDrags::X11FileDrags(FileTransfers& transfers, QueueFactory& queues)
    : m_key(transfers, queues) {
    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11FileDrags::~X11FileDrags() = default;

void X11FileDrags::dragOut(QWidget* source, const QList<QUrl>& files, const QIcon& icon) {
    forgetDrag();
    auto* data = new QMimeData;
    data->setUrls(files);
    // Listed, so that sandboxed targets ask for it; the filter below answers with the key.
    data->setData(QString::fromLatin1(kTransferKeyType), {});
    m_uris = data->data(QStringLiteral("text/uri-list"));
    QList<QByteArray> paths;
    for (const QUrl& file : files) {
        paths.append(nativePathOf(file));
    }
    m_paths = paths.join('\n');
    m_key.reset(paths);
    // Qt returns once it has sent the drop; the target may ask for the data after that (mutter
    // does when a native app reads it), and gets it until another drag begins. No wait for its
    // word: mutter sends none for drops into native apps.
    dragAsCopy(source, data, icon, static_cast<int>(files.size()));
}

void X11FileDrags::forgetDrag() {
    m_uris.clear();
    m_paths.clear();
    m_key.reset(); // waiting requests get no key
}

bool X11FileDrags::nativeEventFilter(const QByteArray& /*eventType*/, void* message,
                                     qintptr* /*result*/) {
    xcb_connection_t* x = qtX11Connection();
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & 0x7f) {
    case XCB_SELECTION_REQUEST: {
        const auto* request = static_cast<const xcb_selection_request_event_t*>(message);
        if (request->selection != internAtom(x, "XdndSelection") || m_uris.isEmpty()) {
            return false;
        }
        if (request->target == internAtom(x, kTransferKeyType)) {
            m_key.request([this, request = *request](const std::optional<QByteArray>& key) {
                answer(request, key);
            });
        } else {
            answer(*request);
        }
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

void X11FileDrags::answer(const xcb_selection_request_event_t& request,
                          const std::optional<QByteArray>& key) {
    xcb_connection_t* x = qtX11Connection();
    if (x == nullptr) {
        return;
    }
    const auto types = internAtoms(x, {"TARGETS", "text/uri-list", kTransferKeyType, "UTF8_STRING",
                                       "text/plain;charset=utf-8", "text/plain"});
    // Obsolete clients name no property: the data then goes into one named for its type.
    const xcb_atom_t property = request.property != XCB_NONE ? request.property : request.target;
    bool answered = true;
    if (request.target == types[0]) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, property, XCB_ATOM_ATOM,
                            32, static_cast<std::uint32_t>(types.size()), types.data());
    } else if (request.target == types[1]) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, property, request.target,
                            8, static_cast<std::uint32_t>(m_uris.size()), m_uris.constData());
    } else if (request.target == types[2] && key) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, property, request.target,
                            8, static_cast<std::uint32_t>(key->size()), key->constData());
    } else if (std::find(types.begin() + 3, types.end(), request.target) != types.end()) {
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, property, request.target,
                            8, static_cast<std::uint32_t>(m_paths.size()), m_paths.constData());
    } else {
        answered = false;
    }
    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    notify.property = answered ? property : XCB_NONE;
    std::array<char, 32> event{};
    std::memcpy(event.data(), &notify, sizeof notify);
    xcb_send_event(x, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, event.data());
    xcb_flush(x);
}

} // namespace verrabel
