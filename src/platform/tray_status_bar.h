#pragma once

#include "status_item.h"

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>
#include <QTimer>

namespace verrabel {

/// A status item in the system tray. Without a tray host it waits for one to appear and
/// docks then, without a restart.
class TrayStatusItem final : public QObject, public StatusItem {
    Q_OBJECT
public:
    TrayStatusItem();

    void setImage(const QIcon& image, const QString& accessibilityDescription) override;
    void setMenu(std::unique_ptr<QMenu> menu) override;
    [[nodiscard]] QMenu* menu() const override { return m_menu.get(); }

private:
    void dockWhenTrayAppears();
    void nameTrayWindow();

    std::unique_ptr<QMenu> m_menu;
    QSystemTrayIcon m_icon;
    QString m_description;
    QTimer m_trayPoll;
};

class TrayStatusBar final : public StatusBar {
public:
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override;
};

} // namespace verrabel
