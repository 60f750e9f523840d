#include "tray_status_bar.h"

#include <QApplication>
#include <QCursor>
#include <QWidget>

namespace verrabel {

namespace {
constexpr int kTrayPollMilliseconds = 2000;
} // namespace

TrayStatusItem::TrayStatusItem() {
    // A plain click opens the menu too, not only the context click.
    connect(&m_icon, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger && m_menu) {
                    m_menu->popup(QCursor::pos());
                }
            });
    m_trayPoll.setInterval(kTrayPollMilliseconds);
    connect(&m_trayPoll, &QTimer::timeout, this, &TrayStatusItem::dockWhenTrayAppears);
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        m_trayPoll.start();
    }
}

void TrayStatusItem::setImage(const QIcon& image, const QString& accessibilityDescription) {
    m_icon.setIcon(image);
    m_description = accessibilityDescription;
    m_icon.show();
    nameTrayWindow();
}

void TrayStatusItem::setMenu(std::unique_ptr<QMenu> menu) {
    m_menu = std::move(menu);
    m_icon.setContextMenu(m_menu.get());
}

void TrayStatusItem::dockWhenTrayAppears() {
    if (!QSystemTrayIcon::isSystemTrayAvailable()) {
        return;
    }
    m_trayPoll.stop();
    // Qt docks an icon only when it is shown: show it again now that a tray exists.
    m_icon.hide();
    m_icon.show();
    nameTrayWindow();
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
