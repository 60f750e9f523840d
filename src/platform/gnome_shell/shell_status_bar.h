#pragma once

#include "platform/status_item.h"

#include <QObject>

namespace verrabel {

class GnomeShellLink;
class TrayStatusItem;

/// The status item in GNOME: the menu in the top bar through the companion extension while it
/// is there (GNOME shows no tray of its own), else, or until then, the tray's item.
class ShellStatusItem final : public QObject, public StatusItem {
    Q_OBJECT
public:
    ShellStatusItem(GnomeShellLink& shell, std::unique_ptr<TrayStatusItem> tray);
    ~ShellStatusItem() override;
    ShellStatusItem(const ShellStatusItem&) = delete;
    ShellStatusItem& operator=(const ShellStatusItem&) = delete;

    void setImage(const QIcon& image, const QString& accessibilityDescription) override;
    void setMenu(std::unique_ptr<QMenu> menu) override;
    [[nodiscard]] QMenu* menu() const override;

private:
    /// Hands the menu's entries to the shell, and hides the tray's item while it shows them.
    void offer();
    void chosen(int index);

    GnomeShellLink& m_shell;
    std::unique_ptr<TrayStatusItem> m_tray;
    QString m_description;
};

class ShellStatusBar final : public StatusBar {
public:
    explicit ShellStatusBar(GnomeShellLink& shell)
        : m_shell(shell) {}
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override;

private:
    GnomeShellLink& m_shell;
};

} // namespace verrabel
