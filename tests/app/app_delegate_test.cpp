#include "app/app_delegate.h"
#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <QApplication>
#include <QMenu>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

TEST(AppDelegate, WelcomesEachUserOnceAndItsMenuShowsTheShelfAndTheDesktop) {
    testing::FakePlatform platform;
    {
        AppDelegate first(platform.services);
        first.applicationDidFinishLaunching();
        EXPECT_TRUE(first.shelf->panel->isVisible());
        EXPECT_TRUE(platform.settings.values.value(QStringLiteral("didWelcome")));
    }
    AppDelegate second(platform.services);
    second.applicationDidFinishLaunching();
    EXPECT_FALSE(second.shelf->panel->isVisible());
    EXPECT_FALSE(QApplication::quitOnLastWindowClosed()); // a hidden shelf ends nothing

    const auto& item = dynamic_cast<const testing::FakeStatusItem&>(*second.status);
    EXPECT_EQ(item.description, QStringLiteral("Verrabel 桌面文件"));
    const QList<QAction*> actions = item.menu()->actions();
    ASSERT_EQ(actions.size(), 4);
    EXPECT_TRUE(actions[2]->isSeparator());
    EXPECT_EQ(actions[3]->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Q));
    actions[0]->trigger();
    EXPECT_TRUE(second.shelf->panel->isVisible());
    actions[1]->trigger();
    EXPECT_EQ(platform.workspace.opened, QList{QUrl::fromLocalFile(platform.folders.desktopPath)});
}

} // namespace
} // namespace verrabel
