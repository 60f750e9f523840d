#include "wayland_file_drags.h"

#include "platform/desktop/copy_drag.h"
#include "platform/file_transfers.h"
#include "platform/file_urls.h"
#include "wayland_drag_source.h"

#include <QEvent>
#include <QEventLoop>
#include <QGuiApplication>
#include <QMimeData>
#include <QWidget>
#include <QWindow>
#include <QtGui/qpa/qplatformwindow_p.h>

#include <cmath>
#include <wayland-client.h>

namespace verrabel {

namespace {

using WaylandWindow = QNativeInterface::Private::QWaylandWindow;

QNativeInterface::QWaylandApplication* qtWayland() {
    return qGuiApp->nativeInterface<QNativeInterface::QWaylandApplication>();
}

void noteCaughtUp(void* drags, wl_callback* /*callback*/, std::uint32_t /*data*/) {
    static_cast<WaylandFileDrags*>(drags)->caughtUp();
}

const wl_callback_listener kCaughtUp{&noteCaughtUp};

} // namespace

WaylandFileDrags::WaylandFileDrags(FileTransfers& transfers, QueueFactory& queues)
    : m_key(transfers, queues) {
    if (auto* wayland = qtWayland(); wayland != nullptr && wayland->display() != nullptr) {
        m_source = std::make_unique<WaylandDragSource>(
            wayland->display(),
            [this](int drag, const WaylandDragSource::Answer& answer) {
                if (drag != m_drag) {
                    return; // a drag that is over: its target gets nothing
                }
                m_key.request([answer](const std::optional<QByteArray>& key) {
                    answer(key.value_or(QByteArray()));
                });
            },
            [this](int drag, bool dropped) { ended(drag, dropped); });
    }
}

WaylandFileDrags::~WaylandFileDrags() {
    if (m_catchingUp != nullptr) {
        wl_callback_destroy(m_catchingUp);
    }
}

void WaylandFileDrags::dragOut(QWidget* source, const QList<QUrl>& files, const QIcon& icon) {
    if (m_waiting != nullptr) {
        return; // one drag at a time
    }
    const QWindow* window = source->window()->windowHandle();
    auto* native = window != nullptr ? window->nativeInterface<WaylandWindow>() : nullptr;
    auto* wayland = qtWayland();
    if (m_source == nullptr || !m_source->ready() || native == nullptr ||
        native->surface() == nullptr || wayland->lastInputSeat() == nullptr) {
        auto* data = new QMimeData;
        data->setUrls(files);
        dragAsCopy(source, data, icon, static_cast<int>(files.size()));
        return;
    }
    QByteArray uris;
    QList<QByteArray> paths;
    for (const QUrl& file : files) {
        uris += file.toEncoded() + "\r\n";
        paths.append(nativePathOf(file));
    }
    m_key.reset(paths); // the last drag's key is stopped; this one's is made when asked for
    WaylandDragSource::Drag drag;
    drag.origin = native->surface();
    drag.seat = wayland->lastInputSeat();
    drag.serial = wayland->lastInputSerial();
    drag.scale = static_cast<int>(std::ceil(source->devicePixelRatioF()));
    drag.image = dragImage(*source, icon, static_cast<int>(files.size()), drag.scale).toImage();
    drag.hotSpot = QPoint(drag.image.width(), drag.image.height()) / (2 * drag.scale);
    drag.data = {{"text/uri-list", uris},
                 {"text/plain;charset=utf-8", paths.join('\n')},
                 {"text/plain", paths.join('\n')}};
    drag.askedType = kTransferKeyType;

    m_drag = m_source->start(std::move(drag));
    QEventLoop waiting;
    m_waiting = &waiting;
    qApp->installEventFilter(this);
    waiting.exec();
    qApp->removeEventFilter(this);
    m_waiting = nullptr;
}

bool WaylandFileDrags::eventFilter(QObject* /*watched*/, QEvent* event) {
    // Under a drag the compositor keeps the button's release to itself: one that reaches a window
    // of Verrabel's means the compositor never took the drag. Its source stays, harmless, until
    // the next drag replaces it.
    if (event->type() == QEvent::MouseButtonRelease && m_waiting != nullptr) {
        m_waiting->quit();
    }
    return false;
}

void WaylandFileDrags::ended(int drag, bool dropped) {
    if (drag != m_drag || m_waiting == nullptr || m_catchingUp != nullptr) {
        return;
    }
    if (!dropped) {
        m_waiting->quit();
        return;
    }
    // A drop into Verrabel's own window reaches Qt's data device, whose events Qt handles in the
    // order they came: once Qt has the answer to a sync sent now, that drop has been handled,
    // while the drag was still one of Verrabel's own.
    m_catchingUp = wl_display_sync(qtWayland()->display());
    wl_callback_add_listener(m_catchingUp, &kCaughtUp, this);
    wl_display_flush(qtWayland()->display());
}

void WaylandFileDrags::caughtUp() {
    wl_callback_destroy(m_catchingUp);
    m_catchingUp = nullptr;
    if (m_waiting != nullptr) {
        m_waiting->quit();
    }
}

} // namespace verrabel
