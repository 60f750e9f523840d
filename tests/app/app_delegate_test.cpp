#include "app/app_delegate.h"
#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <QApplication>
#include <QMenu>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;
using testing::FakeStatusItem;

TEST(AppDelegate, PutsTheStatusItemWithItsMenuIntoTheTray) {
    FakePlatform platform;
    AppDelegate delegate(platform.services);
    delegate.applicationDidFinishLaunching();

    const auto& item = dynamic_cast<const FakeStatusItem&>(*delegate.status);
    EXPECT_FALSE(item.image.isNull());
    EXPECT_EQ(item.description, QStringLiteral("Verrabel 桌面文件"));

    ASSERT_NE(item.menu(), nullptr);
    const QList<QAction*> actions = item.menu()->actions();
    ASSERT_EQ(actions.size(), 4);
    EXPECT_EQ(actions[0]->text(), QStringLiteral("展开桌面文件"));
    EXPECT_EQ(actions[1]->text(), QStringLiteral("在 Finder 中打开桌面"));
    EXPECT_TRUE(actions[2]->isSeparator());
    EXPECT_EQ(actions[3]->text(), QStringLiteral("退出 Verrabel"));
    EXPECT_EQ(actions[3]->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
    for (const QAction* action : actions) {
        EXPECT_TRUE(action->isEnabled());
        EXPECT_FALSE(action->isCheckable());
        EXPECT_TRUE(action->icon().isNull());
    }
}

TEST(AppDelegate, MenuItemsShowTheShelfAndOpenTheDesktop) {
    FakePlatform platform;
    platform.settings.values.insert(QStringLiteral("didWelcome"), true);
    AppDelegate delegate(platform.services);
    delegate.applicationDidFinishLaunching();
    const QList<QAction*> actions = delegate.status->menu()->actions();

    ASSERT_FALSE(delegate.shelf->expanded);
    actions[0]->trigger();
    EXPECT_TRUE(delegate.shelf->expanded);
    EXPECT_TRUE(delegate.shelf->panel->isVisible());

    actions[1]->trigger();
    EXPECT_EQ(platform.workspace.opened, QList{QUrl::fromLocalFile(platform.folders.desktopPath)});
}

TEST(AppDelegate, ControlQInTheOpenMenuQuits) {
    FakePlatform platform;
    AppDelegate delegate(platform.services);
    delegate.applicationDidFinishLaunching();
    QMenu* menu = delegate.status->menu();

    bool quitByShortcut = false;
    QTimer::singleShot(0, menu, [menu] {
        menu->popup(QPoint(100, 100));
        QTest::keyClick(menu, Qt::Key_Q, Qt::ControlModifier);
    });
    // If the shortcut does nothing, give up after a while instead of hanging the test.
    QTimer::singleShot(5000, qApp, [] { QCoreApplication::exit(1); });
    quitByShortcut = QApplication::exec() == 0;
    EXPECT_TRUE(quitByShortcut);
}

TEST(AppDelegate, WelcomesEachUserOnce) {
    FakePlatform platform;
    {
        AppDelegate first(platform.services);
        first.applicationDidFinishLaunching();
        EXPECT_TRUE(first.shelf->expanded);
        EXPECT_TRUE(first.shelf->panel->isVisible());
        EXPECT_TRUE(platform.settings.values.value(QStringLiteral("didWelcome")));
    }
    AppDelegate second(platform.services);
    second.applicationDidFinishLaunching();
    EXPECT_FALSE(second.shelf->expanded);
    EXPECT_FALSE(second.shelf->panel->isVisible());
    EXPECT_FALSE(QApplication::quitOnLastWindowClosed()); // a hidden shelf ends nothing
}

} // namespace
} // namespace verrabel
