#include "wayland_pointer.h"

#include "border_trigger.h"
#include "platform/desktop/qt_display.h"
#include "platform/desktop/tooltips_pass_pointer.h"

#include <QCoreApplication>
#include <QDropEvent>
#include <QEnterEvent>
#include <QGuiApplication>
#include <QMouseEvent>
#include <QRegion>
#include <QScreen>
#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <utility>

namespace verrabel {

namespace {

/// Transparent, and refuses every drag: it only sees where drags and the pointer go.
class PresenceSurface final : public QWidget {
public:
    PresenceSurface() {
        setAttribute(Qt::WA_TranslucentBackground);
        setMouseTracking(true);
        setAcceptDrops(true);
        setWindowTitle(QStringLiteral("Verrabel presence"));
    }

protected:
    void dragEnterEvent(QDragEnterEvent* event) override { event->ignore(); }
    void dragMoveEvent(QDragMoveEvent* event) override { event->ignore(); }
};

} // namespace

/// One screen's presence surface and the compositor's trigger at that screen's border.
struct WaylandPointer::Presence {
    QPointer<const QScreen> screen;
    /// Made for a screen, which may go: then so does the presence.
    bool forScreen = false;
    std::unique_ptr<QWidget> surface = std::make_unique<PresenceSurface>();
    std::unique_ptr<BorderTrigger> trigger;
    /// Where the surface is to be, and whether at all.
    QRect bounds;
    bool wanted = false;
    /// Shown again once since the last watch: a compositor that keeps closing it wins.
    bool reshown = false;
    /// The surface waits for a push at the border.
    bool armed = false;
};

WaylandPointer::WaylandPointer(const Screens& screens, FloatingWindows& windows,
                               MakeTrigger makeTrigger)
    : m_screens(screens)
    , m_windows(windows)
    , m_makeTrigger(std::move(makeTrigger))
    , m_tooltips(std::make_unique<TooltipsPassPointer>()) {
    QCoreApplication::instance()->installEventFilter(this);
}

WaylandPointer::~WaylandPointer() {
    // Before the presence surfaces go: their last events are not ours to read.
    QCoreApplication::instance()->removeEventFilter(this);
}

std::optional<QPointF> WaylandPointer::location() {
    if (m_over == nullptr) {
        return std::nullopt; // over no surface of ours: away
    }
    return pointOfPixel(m_at);
}

void WaylandPointer::watch(const QList<QRectF>& zones, const QWidget& panel) {
    m_panel = &panel;
    // Exactly the zones, each screen's on its own surface, which take the pointer from the
    // surfaces below; where the panel is shown, it takes its own.
    QList<std::pair<const QScreen*, QRegion>> regions;
    for (const QRectF& zone : zones) {
        const QRect rect = m_screens.toWindowGeometry(zone);
        const QScreen* screen = QGuiApplication::screenAt(rect.center());
        auto same = std::find_if(regions.begin(), regions.end(),
                                 [screen](const auto& region) { return region.first == screen; });
        if (same == regions.end()) {
            regions.append({screen, rect});
        } else {
            same->second |= rect;
        }
    }
    // A screen that went took its surface's output with it.
    std::erase_if(m_presences, [this](const std::unique_ptr<Presence>& presence) {
        const bool gone = presence->forScreen && presence->screen.isNull();
        if (gone && m_over == presence->surface.get()) {
            m_over = nullptr;
        }
        return gone;
    });
    for (auto& presence : m_presences) {
        presence->wanted = false;
    }
    for (auto& [screen, region] : regions) {
        if (panel.isVisible()) {
            region -= panel.geometry();
        }
        if (!region.isEmpty()) {
            place(presenceOn(screen), region, panel.isVisible());
        }
    }
    for (auto& presence : m_presences) {
        if (!presence->wanted) {
            presence->armed = false;
            presence->trigger->disarm();
            presence->surface->hide();
        }
    }
}

WaylandPointer::Presence& WaylandPointer::presenceOn(const QScreen* screen) {
    for (auto& presence : m_presences) {
        if (presence->screen == screen) {
            return *presence;
        }
    }
    auto presence = std::make_unique<Presence>();
    presence->screen = screen;
    presence->forScreen = screen != nullptr;
    presence->trigger = m_makeTrigger();
    // A fullscreen window in front of it takes the edge back: the shelf stays out of its way.
    m_windows.setUp(*presence->surface, Stacking::UnderFullscreen);
    return *m_presences.emplace_back(std::move(presence));
}

void WaylandPointer::place(Presence& presence, const QRegion& region, bool panelShown) {
    presence.wanted = true;
    presence.reshown = false;
    presence.armed = !panelShown && alongTopBorder(region);
    presence.bounds = region.boundingRect();
    presence.surface->setMask(region.translated(-presence.bounds.topLeft()));
    showPresences();
    if (presence.armed) {
        presence.trigger->arm(*presence.surface->windowHandle());
    } else {
        presence.trigger->disarm();
    }
}

bool WaylandPointer::alongTopBorder(const QRegion& region) {
    const QRect bounds = region.boundingRect();
    const QScreen* screen = QGuiApplication::screenAt(bounds.center());
    // A screen above makes the top an inner border, where there is nothing to push against.
    return region.rectCount() == 1 && screen != nullptr &&
           bounds.top() == screen->geometry().top() &&
           QGuiApplication::screenAt({bounds.center().x(), bounds.top() - 1}) == nullptr;
}

void WaylandPointer::showPresences() {
    for (auto& presence : m_presences) {
        if (!presence->wanted) {
            continue;
        }
        if (presence->surface->geometry() != presence->bounds) {
            presence->surface->setGeometry(presence->bounds);
        }
        if (!presence->surface->isVisible()) {
            presence->surface->show();
        }
    }
}

bool WaylandPointer::awaitMotion(std::function<void()> onMotion) {
    m_onArrival = std::move(onMotion);
    return true;
}

void WaylandPointer::cancel() {
    m_onArrival = nullptr;
}

WaylandPointer::Presence* WaylandPointer::presenceOf(const QObject* window) const {
    for (const auto& presence : m_presences) {
        if (window == presence->surface->windowHandle()) {
            return presence.get();
        }
    }
    return nullptr;
}

const QWidget* WaylandPointer::ownerOf(const QObject* window) const {
    if (const Presence* presence = presenceOf(window)) {
        return presence->surface.get();
    }
    return m_panel && window == m_panel->windowHandle() ? m_panel.data() : nullptr;
}

bool WaylandPointer::eventFilter(QObject* watched, QEvent* event) {
    // A menu that closes held the pointer: where it went, Qt did not say.
    if (event->type() == QEvent::Hide && watched->isWidgetType() &&
        static_cast<QWidget*>(watched)->windowType() == Qt::Popup) {
        m_over = nullptr;
        return false;
    }
    // The windows' own events: every move comes to them, whatever their widgets track.
    if (!watched->isWindowType()) {
        return false;
    }
    const QWidget* owner = ownerOf(watched);
    if (owner == nullptr) {
        return false;
    }
    switch (event->type()) {
    case QEvent::Enter:
        seen(*owner, static_cast<QEnterEvent*>(event)->position());
        break;
    case QEvent::MouseMove:
        seen(*owner, static_cast<QMouseEvent*>(event)->position());
        break;
    case QEvent::DragEnter:
    case QEvent::DragMove:
        seen(*owner, static_cast<QDropEvent*>(event)->position());
        break;
    case QEvent::Leave:
    case QEvent::DragLeave:
    case QEvent::WindowBlocked: // an alert holds the pointer now
    case QEvent::Hide:
        if (owner == m_over) {
            m_over = nullptr;
        }
        if (Presence* presence = presenceOf(watched)) {
            // A push showed the presence surface, and the pointer went on elsewhere: hidden
            // again.
            if (event->type() == QEvent::Leave && presence->armed) {
                presence->trigger->arm(*presence->surface->windowHandle());
            }
            // The compositor closes a layer surface whose screen goes: the zones still want one.
            if (event->type() == QEvent::Hide && presence->wanted &&
                !std::exchange(presence->reshown, true)) {
                QMetaObject::invokeMethod(this, &WaylandPointer::showPresences,
                                          Qt::QueuedConnection);
            }
        }
        break;
    default:
        break;
    }
    return false;
}

void WaylandPointer::seen(const QWidget& window, const QPointF& position) {
    // Layer surfaces have no position that Qt could tell; ours are where their geometry says.
    m_over = &window;
    const Presence* presence = presenceOf(window.windowHandle());
    const QRect placed = presence != nullptr ? presence->bounds : window.geometry();
    m_at = QPointF(placed.topLeft()) + position;
    if (m_onArrival) {
        auto arrival = std::exchange(m_onArrival, nullptr);
        arrival();
    }
}

} // namespace verrabel
