#pragma once

#include "platform/display.h"
#include "platform/motion_watch.h"

#include <QObject>
#include <QPointer>

#include <optional>

namespace verrabel {

class GnomeShellLink;

/// The pointer of an X client in GNOME: from the companion extension while it is there, which
/// sees the pointer everywhere and leaves the edge's clicks to the top bar; from the presence
/// strip (`strip`) when it is not. Collapsed, the extension watches the top edge and tells of a
/// push; open, it follows the pointer.
class ShellEdgePointer final : public QObject, public Pointer, public MotionWatch {
    Q_OBJECT
public:
    ShellEdgePointer(GnomeShellLink& shell, const Screens& screens, Pointer& strip,
                     MotionWatch& stripMotion);

    [[nodiscard]] std::optional<QPointF> location() override;
    void watch(const QList<QRectF>& zones, const QWidget& panel) override;
    [[nodiscard]] bool seenOnlyWhereTaken() const override;
    bool awaitMotion(std::function<void()> onMotion) override;
    void cancel() override;

private:
    void presenceChanged();
    void apply();
    void pushed(int index);
    void moved(const QPointF& shellPosition);
    void wake();

    GnomeShellLink& m_shell;
    const Screens& m_screens;
    Pointer& m_strip;
    MotionWatch& m_stripMotion;
    QList<QRectF> m_zones;
    QPointer<const QWidget> m_panel;
    bool m_open = false;
    /// The edges the shell watches, the first zones'.
    qsizetype m_edgeCount = 0;
    /// Where the pointer is, in global points; while collapsed only a push puts it anywhere,
    /// and the next look takes it.
    std::optional<QPointF> m_at;
    std::function<void()> m_onMotion;
    bool m_told = false;
};

} // namespace verrabel
