#pragma once

#include "platform/file_drags.h"

#include <QAbstractNativeEventFilter>
#include <QByteArray>

struct xcb_selection_request_event_t;

namespace verrabel {

/// Drags with Qt's QDrag on X11, and the drag's data for whoever asks, until another drag begins.
///
/// Qt serves a request for the data only when its time is the drag's own or the requestor takes
/// part in XDND itself. A compositor that bridges the drag into native Wayland windows asks from
/// a window of its own, with a time of its own (mutter): Qt says there is no data, and the drop
/// comes to nothing. So every request for the drag's selection is answered here.
class X11FileDrags final : public FileDrags, private QAbstractNativeEventFilter {
public:
    X11FileDrags();
    ~X11FileDrags() override;
    X11FileDrags(const X11FileDrags&) = delete;
    X11FileDrags& operator=(const X11FileDrags&) = delete;

    void dragOut(QWidget* source, const QUrl& file, const QIcon& icon) override;

private:
    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;
    void answer(const xcb_selection_request_event_t& request) const;

    /// The data of the last drag, in the forms answered: a URI list and a plain path.
    QByteArray m_uris;
    QByteArray m_path;
};

} // namespace verrabel
