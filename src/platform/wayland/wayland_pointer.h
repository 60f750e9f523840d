#pragma once

#include "platform/display.h"
#include "platform/motion_watch.h"

#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>
#include <vector>

class QScreen;

namespace verrabel {

class BorderTrigger;
class FloatingWindows;
class TooltipsPassPointer;

/// The pointer for a native Wayland client, which sees it only over its own surfaces. On each
/// screen with zones, a transparent layer surface of ours, a presence surface, takes the pointer
/// in the zones where it matters and nowhere else (its input region); over no surface of ours the
/// pointer counts as away. Drags count as the pointer too: over the presence surface they are seen
/// and refused. Arrivals and moves over our surfaces, by pointer or drag, end the hover timer's
/// naps.
///
/// While the panel is hidden only the pointer's coming matters: a zone along a screen's top
/// border is then left to the compositor's trigger there, where it has one, and that screen's
/// presence surface takes no clicks until a push shows it.
///
/// Qt tells of no departure while a menu or an alert holds the pointer, nor from a surface that
/// goes: then the pointer counts as away until it is next seen.
class WaylandPointer final : public QObject, public Pointer, public MotionWatch {
    Q_OBJECT
public:
    using MakeTrigger = std::function<std::unique_ptr<BorderTrigger>()>;
    /// `makeTrigger` gives each presence surface a trigger of its own.
    WaylandPointer(const Screens& screens, FloatingWindows& windows, MakeTrigger makeTrigger);
    ~WaylandPointer() override;
    WaylandPointer(const WaylandPointer&) = delete;
    WaylandPointer& operator=(const WaylandPointer&) = delete;

    [[nodiscard]] std::optional<QPointF> location() override;
    void watch(const QList<QRectF>& zones, const QWidget& panel) override;
    [[nodiscard]] bool seenOnlyWhereTaken() const override { return true; }
    bool awaitMotion(std::function<void()> onMotion) override;
    void cancel() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Presence;

    /// The presence on `screen`, made when first needed and kept: a layer surface cannot change
    /// screens without being made again.
    Presence& presenceOn(const QScreen* screen);
    /// Takes `region` on the presence's screen, or nothing when it is empty.
    void place(Presence& presence, const QRegion& region, bool panelShown);
    [[nodiscard]] Presence* presenceOf(const QObject* window) const;
    /// A presence surface or the panel, when `window` is theirs.
    [[nodiscard]] const QWidget* ownerOf(const QObject* window) const;
    void seen(const QWidget& window, const QPointF& position);
    /// Shows the presence surfaces where their zones are, again if the compositor took one away.
    void showPresences();
    /// Whether `region`, in Qt's global coordinates, lies along its screen's top border.
    [[nodiscard]] static bool alongTopBorder(const QRegion& region);

    const Screens& m_screens;
    FloatingWindows& m_windows;
    MakeTrigger m_makeTrigger;
    std::vector<std::unique_ptr<Presence>> m_presences;
    QPointer<const QWidget> m_panel;
    std::unique_ptr<TooltipsPassPointer> m_tooltips;
    std::function<void()> m_onArrival;
    /// The surface of ours the pointer is over, and where it was last seen, in Qt's global
    /// coordinates.
    const QWidget* m_over = nullptr;
    QPointF m_at;
};

} // namespace verrabel
