#pragma once

#include "platform/status_item.h"

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>

namespace verrabel {

/// A status item in the system tray: a StatusNotifierItem where a host serves them (KDE,
/// waybar), else an icon docked in an X11 tray. Without either it waits for one to appear and
/// docks then, without a restart.
class TrayStatusItem final : public QObject, public StatusItem {
    Q_OBJECT
public:
    TrayStatusItem();

    void setImage(const QIcon& image, const QString& accessibilityDescription) override;
    void setMenu(std::unique_ptr<QMenu> menu) override;
    [[nodiscard]] QMenu* menu() const override { return m_menu.get(); }
    /// Hidden while the desktop shows the menu some other way; it docks all the same.
    void setHidden(bool hidden);

private:
    void dockWhenTrayAppears();
    void nameTrayWindow();

    std::unique_ptr<QMenu> m_menu;
    /// Made once a tray is there.
    std::unique_ptr<QSystemTrayIcon> m_icon;
    QIcon m_image;
    QString m_description;
    bool m_hidden = false;
    QTimer m_trayPoll;
};

class TrayStatusBar final : public StatusBar {
public:
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override;
};

} // namespace verrabel
