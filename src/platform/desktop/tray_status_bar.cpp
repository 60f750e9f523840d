#include "tray_status_bar.h"

#include "platform/x11/xcb_calls.h"

#include <QApplication>
#include <QCursor>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QWidget>

namespace verrabel {

namespace {

constexpr int kTrayPollMilliseconds = 2000;
constexpr int kBusTimeoutMilliseconds = 500;

bool statusNotifierHostRegistered() {
    const QString watcher = QStringLiteral("org.kde.StatusNotifierWatcher");
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || !bus.interface()->isServiceRegistered(watcher)) {
        return false;
    }
    QDBusMessage ask = QDBusMessage::createMethodCall(
        watcher, QStringLiteral("/StatusNotifierWatcher"),
        QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    ask << watcher << QStringLiteral("IsStatusNotifierHostRegistered");
    const QDBusMessage answer = bus.call(ask, QDBus::Block, kBusTimeoutMilliseconds);
    return answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty() &&
           answer.arguments().constFirst().value<QDBusVariant>().variant().toBool();
}

bool x11TrayRunning() {
    xcb_connection_t* connection = qtX11Connection();
    return connection != nullptr && selectionOwned(connection, "_NET_SYSTEM_TRAY_S0");
}

/// Whether a tray would show an icon now. Asked of D-Bus and the X server each time: Qt asks
/// D-Bus only once and keeps the answer, so a bar started after Verrabel would never get one.
bool trayAvailable() {
    return statusNotifierHostRegistered() || x11TrayRunning();
}

} // namespace

TrayStatusItem::TrayStatusItem() {
    m_trayPoll.setInterval(kTrayPollMilliseconds);
    connect(&m_trayPoll, &QTimer::timeout, this, &TrayStatusItem::dockWhenTrayAppears);
    m_trayPoll.start();
    dockWhenTrayAppears();
}

void TrayStatusItem::setImage(const QIcon& image, const QString& accessibilityDescription) {
    m_image = image;
    m_description = accessibilityDescription;
    if (m_icon) {
        m_icon->setIcon(image);
        m_icon->setVisible(!m_hidden);
        nameTrayWindow();
    }
}

void TrayStatusItem::setHidden(bool hidden) {
    m_hidden = hidden;
    if (m_icon && !m_image.isNull()) {
        m_icon->setVisible(!hidden);
    }
}

void TrayStatusItem::setMenu(std::unique_ptr<QMenu> menu) {
    m_menu = std::move(menu);
    if (m_icon) {
        m_icon->setContextMenu(m_menu.get());
    }
}

void TrayStatusItem::dockWhenTrayAppears() {
    if (!trayAvailable()) {
        return;
    }
    m_trayPoll.stop();
    // Qt chooses between a StatusNotifierItem and an X11 tray icon once, when the first icon is
    // made: only now that a tray is there.
    m_icon = std::make_unique<QSystemTrayIcon>();
    // A plain click opens the menu too, not only the context click.
    connect(m_icon.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger && m_menu) {
                    m_menu->popup(QCursor::pos());
                }
            });
    m_icon->setContextMenu(m_menu.get());
    if (!m_image.isNull()) {
        setImage(m_image, m_description);
    }
}

void TrayStatusItem::nameTrayWindow() {
    // On X11 Qt docks a small window of its own; give it the name screen readers announce.
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == QLatin1String("QSystemTrayIconSys")) {
            widget->setAccessibleName(m_description);
        }
    }
}

std::unique_ptr<StatusItem> TrayStatusBar::makeStatusItem() {
    return std::make_unique<TrayStatusItem>();
}

} // namespace verrabel
