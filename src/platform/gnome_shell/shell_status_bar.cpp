#include "shell_status_bar.h"

#include "gnome_shell_link.h"
#include "platform/desktop/tray_status_bar.h"

#include <QAction>
#include <QMenu>

namespace verrabel {

ShellStatusItem::ShellStatusItem(GnomeShellLink& shell, std::unique_ptr<TrayStatusItem> tray)
    : m_shell(shell)
    , m_tray(std::move(tray)) {
    connect(&m_shell, &GnomeShellLink::presenceChanged, this, &ShellStatusItem::offer);
    connect(&m_shell, &GnomeShellLink::menuActivated, this, &ShellStatusItem::chosen);
}

ShellStatusItem::~ShellStatusItem() = default;

void ShellStatusItem::setImage(const QIcon& image, const QString& accessibilityDescription) {
    m_description = accessibilityDescription;
    m_tray->setImage(image, accessibilityDescription);
    offer();
}

void ShellStatusItem::setMenu(std::unique_ptr<QMenu> menu) {
    m_tray->setMenu(std::move(menu));
    offer();
}

QMenu* ShellStatusItem::menu() const {
    return m_tray->menu();
}

void ShellStatusItem::offer() {
    m_tray->setHidden(m_shell.present());
    if (!m_shell.present() || menu() == nullptr) {
        return;
    }
    QStringList entries;
    for (const QAction* action : menu()->actions()) {
        entries << (action->isSeparator() ? QString() : action->text());
    }
    m_shell.setMenu(m_description, entries);
}

void ShellStatusItem::chosen(int index) {
    const QList<QAction*> actions = menu() != nullptr ? menu()->actions() : QList<QAction*>();
    if (index >= 0 && index < actions.size() && !actions.at(index)->isSeparator()) {
        actions.at(index)->trigger();
    }
}

std::unique_ptr<StatusItem> ShellStatusBar::makeStatusItem() {
    return std::make_unique<ShellStatusItem>(m_shell, std::make_unique<TrayStatusItem>());
}

} // namespace verrabel
