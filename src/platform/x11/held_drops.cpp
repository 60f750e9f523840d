#include "held_drops.h"

#include "xcb_calls.h"

#include <QCoreApplication>
#include <QDropEvent>

#include <algorithm>

namespace verrabel {

X11HeldDrops::X11HeldDrops() {
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

X11HeldDrops::~X11HeldDrops() = default;

void X11HeldDrops::holdWhen(std::function<bool(const QMimeData&)> wanted) {
    m_wanted.push_back(std::move(wanted));
}

bool X11HeldDrops::nativeEventFilter(const QByteArray& /*eventType*/, void* message,
                                     qintptr* /*result*/) {
    auto* event = static_cast<xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7f) == XCB_CLIENT_MESSAGE) {
        auto* client = static_cast<xcb_client_message_event_t*>(message);
        if (client->type == m_dropAtom && client->format == 32) {
            m_dropSource = client->data.data32[0];
            m_dropTime = client->data.data32[2];
            const QMimeData* data = m_drag.data;
            if (m_drag.target && data != nullptr &&
                std::any_of(m_wanted.begin(), m_wanted.end(),
                            [data](const auto& wanted) { return wanted(*data); })) {
                holdBack(*client);
            }
        }
    }
    return false;
}

void X11HeldDrops::holdBack(xcb_client_message_event_t& drop) {
    const Drag drag = std::exchange(m_drag, {});
    m_finish = DropFinish{drop.window};
    QDropEvent dropped(drag.position, drag.actions, drag.data, drag.buttons, drag.modifiers);
    QCoreApplication::sendEvent(drag.target, &dropped);
    if (m_finish) {
        // Nothing took the drop on: refused, here and now.
        sendDropFinished(qtX11Connection(), m_dropSource, drop.window, false);
        m_finish.reset();
    }
    // For Qt the drag left: it forgets it, and says nothing to the source.
    drop.type = m_leaveAtom;
    drop.data.data32[1] = drop.data.data32[2] = drop.data.data32[3] = drop.data.data32[4] = 0;
}

bool X11HeldDrops::eventFilter(QObject* watched, QEvent* event) {
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

} // namespace verrabel
