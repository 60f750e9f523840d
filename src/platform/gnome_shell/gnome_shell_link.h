#pragma once

#include <QList>
#include <QObject>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QStringList>

#include <memory>

class QDBusServiceWatcher;

namespace verrabel {

class ShellProxy;

/// A top edge at a screen's top centre, in the shell's coordinates. Not `pushable` below another
/// screen, where a barrier would stop the pointer crossing: only a rest there counts.
struct ShellEdge {
    QRectF span;
    bool pushable = true;
};

/// Verrabel's companion GNOME Shell extension, over the session bus: the shell's own view of
/// the top edge, the pointer and fullscreen windows, which an X client on Xwayland cannot have.
/// Every call is asynchronous; what the shell tells comes as signals. Coordinates are the
/// shell's (its stage, logical pixels).
class GnomeShellLink final : public QObject {
    Q_OBJECT
public:
    GnomeShellLink();
    ~GnomeShellLink() override;
    GnomeShellLink(const GnomeShellLink&) = delete;
    GnomeShellLink& operator=(const GnomeShellLink&) = delete;

    /// Whether the extension is on the bus now; false until the bus first said so.
    [[nodiscard]] bool present() const { return m_present; }
    /// Whether the bus has answered whether the extension is there.
    [[nodiscard]] bool known() const { return m_known; }
    /// The primary monitor in the shell's coordinates; empty while unknown.
    [[nodiscard]] QRect monitor() const { return m_monitor; }
    /// The monitors a fullscreen window is up on.
    [[nodiscard]] QList<QRect> fullscreen() const { return m_fullscreen; }

    /// A push (or a rest) along a top edge of the screen, its place in `edges`, is told by
    /// `edgePushed`; none: no edge.
    void watchEdges(const QList<ShellEdge>& edges);
    /// While on, every move of the pointer is told by `pointerMoved`.
    void followPointer(bool follow);
    /// The menu shown in the top bar under `name`; '' entries are separators; none: no menu.
    void setMenu(const QString& name, const QStringList& entries);

Q_SIGNALS:
    void presenceChanged();
    void edgePushed(int index);
    void pointerMoved(QPointF shellPosition);
    void stateChanged();
    void menuActivated(int index);

private:
    void setPresent(bool present);
    void askState();
    void takeState(int x, int y, int width, int height, const QList<int>& fullscreen);
    void call(const QString& method, const QVariantList& arguments);

    std::unique_ptr<QDBusServiceWatcher> m_watcher;
    std::unique_ptr<ShellProxy> m_proxy;
    bool m_present = false;
    bool m_known = false;
    QRect m_monitor;
    QList<QRect> m_fullscreen;
};

} // namespace verrabel
