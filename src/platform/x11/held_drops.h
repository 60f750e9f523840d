#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>
#include <QPointF>
#include <QPointer>

#include <xcb/xcb.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

class QMimeData;

namespace verrabel {

/// The drop a held-back drop's taker finishes for Qt: the window of ours it was made on.
struct DropFinish {
    std::uint32_t target = 0;
};

/// Drops that are finished later than Qt would finish them. Qt tells the source that the drop
/// is finished as soon as the drop event returns, and some sources give up the drag's
/// selection then; what such a drop brings (an X Direct Save answer, a portal's transfer key) is
/// read from the source afterwards, off the main thread. So those drops are held back from Qt:
/// the view gets the drop from here, Qt is told that the drag left, and whoever takes the drop
/// on finishes it.
class X11HeldDrops final : public QObject, private QAbstractNativeEventFilter {
    Q_OBJECT
public:
    X11HeldDrops();
    ~X11HeldDrops() override;
    X11HeldDrops(const X11HeldDrops&) = delete;
    X11HeldDrops& operator=(const X11HeldDrops&) = delete;

    /// Drops whose data `wanted` says yes to are held back.
    void holdWhen(std::function<bool(const QMimeData&)> wanted);
    /// The last drop's source window and time, held back or not.
    [[nodiscard]] std::uint32_t source() const { return m_dropSource; }
    [[nodiscard]] std::uint32_t time() const { return m_dropTime; }
    /// While a held-back drop's event is handled: its finish, for whoever takes the drop on.
    /// None once taken, and for a drop Qt finishes.
    [[nodiscard]] std::optional<DropFinish> takeFinish() { return std::exchange(m_finish, {}); }

private:
    /// Notes the source and time of each drop, and holds back the wanted ones.
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    /// Notes where a drag is over which widget, with what data: where a held-back drop goes.
    bool eventFilter(QObject* watched, QEvent* event) override;
    void holdBack(xcb_client_message_event_t& drop);

    std::vector<std::function<bool(const QMimeData&)>> m_wanted;
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
    std::optional<DropFinish> m_finish;
};

} // namespace verrabel
