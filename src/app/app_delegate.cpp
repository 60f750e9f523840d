#include "app_delegate.h"

#include "platform/platform.h"
#include "platform/settings.h"
#include "platform/status_item.h"
#include "shelf/shelf_controller.h"

#include <QApplication>
#include <QMenu>
#include <QShortcut>

namespace verrabel {

AppDelegate::AppDelegate(const Platform& platform)
    : m_platform(platform) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    // An accessory: no main window, and hiding the shelf must not end the application.
    QApplication::setQuitOnLastWindowClosed(false);
    shelf = std::make_unique<ShelfController>(m_platform);

    status = m_platform.statusBar.makeStatusItem();
    status->setImage(QIcon(QStringLiteral(":/icons/verrabel.svg")),
                     QStringLiteral("Verrabel 桌面文件"));

    auto menu = std::make_unique<QMenu>();
    ShelfController* controller = shelf.get();
    menu->addAction(QStringLiteral("展开桌面文件"), controller, &ShelfController::showShelf);
    menu->addAction(QStringLiteral("在 Finder 中打开桌面"), controller,
                    &ShelfController::openDesktop);
    menu->addSeparator();
    QAction* quit = menu->addAction(QStringLiteral("退出 Verrabel"), qApp, &QCoreApplication::quit);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    // Qt honours an action's shortcut only while a menu bar or window holding it is active,
    // never inside a free-standing popup like this one: bind the key to the open menu itself.
    auto* quitKey = new QShortcut(quit->shortcut(), menu.get());
    connect(quitKey, &QShortcut::activated, qApp, &QCoreApplication::quit);
    status->setMenu(std::move(menu));

    const QString didWelcome = QStringLiteral("didWelcome");
    if (!m_platform.settings.boolValue(didWelcome)) {
        shelf->showShelf();
        m_platform.settings.setBool(didWelcome, true);
    }
}

} // namespace verrabel
