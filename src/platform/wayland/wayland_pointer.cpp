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

WaylandPointer::WaylandPointer(const Screens& screens, FloatingWindows& windows,
                               BorderTrigger& trigger)
    : m_screens(screens)
    , m_trigger(trigger)
    , m_presence(std::make_unique<PresenceSurface>())
    , m_tooltips(std::make_unique<TooltipsPassPointer>()) {
    // A fullscreen window in front of it takes the edge back: the shelf stays out of its way.
    windows.setUp(*m_presence, Stacking::UnderFullscreen);
    QCoreApplication::instance()->installEventFilter(this);
}

WaylandPointer::~WaylandPointer() {
    // Before the presence surface goes: its last events are not ours to read.
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
    // Exactly the zones, which take the pointer from the surfaces below; where the panel is
    // shown, it takes its own.
    QRegion region;
    for (const QRectF& zone : zones) {
        region |= m_screens.toWindowGeometry(zone);
    }
    if (panel.isVisible()) {
        region -= panel.geometry();
    }
    m_presenceWanted = !region.isEmpty();
    m_presenceReshown = false;
    m_triggerArmed = m_presenceWanted && !panel.isVisible() && alongTopBorder(region);
    if (!m_presenceWanted) {
        m_trigger.disarm();
        m_presence->hide();
        return;
    }
    m_presenceBounds = region.boundingRect();
    m_presence->setMask(region.translated(-m_presenceBounds.topLeft()));
    showPresence();
    if (m_triggerArmed) {
        m_trigger.arm(*m_presence->windowHandle());
    } else {
        m_trigger.disarm();
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

void WaylandPointer::showPresence() {
    if (m_presence->geometry() != m_presenceBounds) {
        m_presence->setGeometry(m_presenceBounds);
    }
    if (!m_presence->isVisible()) {
        m_presence->show();
    }
}

bool WaylandPointer::awaitMotion(std::function<void()> onMotion) {
    m_onArrival = std::move(onMotion);
    return true;
}

void WaylandPointer::cancel() {
    m_onArrival = nullptr;
}

const QWidget* WaylandPointer::ownerOf(const QObject* window) const {
    if (window == m_presence->windowHandle()) {
        return m_presence.get();
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
        // A push showed the presence surface, and the pointer went on elsewhere: hidden again.
        if (event->type() == QEvent::Leave && owner == m_presence.get() && m_triggerArmed) {
            m_trigger.arm(*m_presence->windowHandle());
        }
        // The compositor closes a layer surface whose screen goes: the zones still want one.
        if (event->type() == QEvent::Hide && owner == m_presence.get() && m_presenceWanted &&
            !std::exchange(m_presenceReshown, true)) {
            QMetaObject::invokeMethod(this, &WaylandPointer::showPresence, Qt::QueuedConnection);
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
    const QRect placed = &window == m_presence.get() ? m_presenceBounds : window.geometry();
    m_at = QPointF(placed.topLeft()) + position;
    if (m_onArrival) {
        auto arrival = std::exchange(m_onArrival, nullptr);
        arrival();
    }
}

} // namespace verrabel
