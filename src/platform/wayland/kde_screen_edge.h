#pragma once

#include "border_trigger.h"

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QWindow>

#include <cstdint>

struct kde_auto_hide_screen_edge_v1;
struct kde_screen_edge_manager_v1;
struct wl_registry;

namespace verrabel {

/// KWin's auto-hide screen edges (kde_screen_edge_manager_v1) on Qt's own Wayland connection.
/// The edge belongs to the window's layer surface: it is made once the surface is shown and
/// goes with it, and a window hidden and shown again gets a new one.
class KdeScreenEdge final : public QObject, public BorderTrigger {
    Q_OBJECT
public:
    KdeScreenEdge();
    ~KdeScreenEdge() override;
    KdeScreenEdge(const KdeScreenEdge&) = delete;
    KdeScreenEdge& operator=(const KdeScreenEdge&) = delete;

    void arm(QWindow& window) override;
    void disarm() override;

    /// Called from the registry's listener.
    void offered(wl_registry* registry, std::uint32_t name, const char* interface);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// Makes the edge and hides the window behind it, once KWin can take it.
    void activate();
    void dropEdge();
    void follow(QWindow& window);

    wl_registry* m_registry = nullptr;
    kde_screen_edge_manager_v1* m_manager = nullptr;
    kde_auto_hide_screen_edge_v1* m_edge = nullptr;
    QPointer<QWindow> m_window;
    QMetaObject::Connection m_roleGone;
    bool m_armed = false;
};

} // namespace verrabel
