#include "shelf/controls.h"
#include "shelf/drop_view.h"
#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <QApplication>
#include <QPushButton>
#include <QScrollArea>
#include <QTest>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;

TEST(ShelfConstruction, StartsCollapsedWithItsMachineryRunning) {
    FakePlatform platform;
    const ShelfController shelf(platform.services);

    EXPECT_FALSE(shelf.panel->isVisible());
    EXPECT_FALSE(shelf.expanded);
    EXPECT_EQ(shelf.busy, 0);
    EXPECT_EQ(shelf.rowsSignature, QString());
    EXPECT_EQ(shelf.message->text(), QStringLiteral("拖入存到桌面 · 拖出到其他应用"));
    EXPECT_EQ(shelf.count->text(), QString());
    EXPECT_EQ(shelf.screen, testing::notchedScreen());
    EXPECT_EQ(shelf.desktop, platform.folders.desktopPath);

    ASSERT_NE(platform.timers.last, nullptr);
    EXPECT_TRUE(platform.timers.last->scheduled);
    EXPECT_EQ(platform.timers.last->interval, 1.0 / 60.0);
    EXPECT_EQ(platform.activity.active, 1);
    EXPECT_EQ(platform.activity.options, 0x00EFFFFFU);
    EXPECT_EQ(platform.activity.reason,
              QStringLiteral("Respond immediately when the pointer reaches the notch"));

    ASSERT_EQ(platform.queues.made.size(), 3);
    EXPECT_EQ(platform.queues.made[0].label, QStringLiteral("Verrabel.scan"));
    EXPECT_EQ(platform.queues.made[0].priority, QueuePriority::Utility);
    EXPECT_EQ(platform.queues.made[1].label, QStringLiteral("Verrabel.files"));
    EXPECT_EQ(platform.queues.made[1].priority, QueuePriority::UserInitiated);
    EXPECT_EQ(platform.queues.made[2].label, QString());
    EXPECT_EQ(platform.queues.made[2].priority, QueuePriority::Default);
}

struct DesignedView {
    const char* what;
    QRect geometry; // in content's top-left coordinates
    QString text;
};

TEST(ShelfViewTree, ControlsSitAtTheDesignedFramesInTheDesignedOrder) {
    FakePlatform platform;
    const ShelfController shelf(platform.services);

    // The design gives frames with y up from content's bottom edge; content is 350 high.
    const std::vector<DesignedView> design{
        {"folder icon", {23, 23, 26, 28}, {}},
        {"title", {61, 16, 240, 23}, QStringLiteral("桌面")},
        {"count", {61, 41, 290, 16}, {}},
        {"upper separator", {22, 66, 376, 1}, {}},
        {"lower separator", {22, 302, 376, 1}, {}},
        {"list", {14, 71, 392, 230}, {}},
        {"status line", {22, 314, 278, 18}, QStringLiteral("拖入存到桌面 · 拖出到其他应用")},
        {"open button", {320, 309, 78, 28}, QStringLiteral("打开")},
    };
    EXPECT_EQ(shelf.content->geometry(), QRect(0, 0, 420, 350));
    const QList<QWidget*> views = shelf.content->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
    ASSERT_EQ(views.size(), static_cast<qsizetype>(design.size()));
    for (std::size_t i = 0; i < design.size(); ++i) {
        SCOPED_TRACE(design[i].what);
        QWidget* view = views[static_cast<qsizetype>(i)];
        EXPECT_EQ(view->geometry(), design[i].geometry);
        if (const auto* label = qobject_cast<QLabel*>(view)) {
            EXPECT_EQ(label->text(), design[i].text);
        } else if (const auto* button = qobject_cast<QPushButton*>(view)) {
            EXPECT_EQ(button->text(), design[i].text);
        }
    }
    EXPECT_EQ(views[0]->accessibleName(), QStringLiteral("桌面"));
    EXPECT_EQ(views[1]->font().pixelSize(), 17);
    EXPECT_EQ(shelf.count->font().pixelSize(), 11);
    EXPECT_EQ(shelf.count->tone(), Tone::Secondary);
    EXPECT_EQ(shelf.message->tone(), Tone::Secondary);
    EXPECT_EQ(views[7]->toolTip(), QStringLiteral("在 Finder 中打开桌面"));
    EXPECT_EQ(views[7]->focusPolicy(), Qt::NoFocus);
    EXPECT_EQ(views[5], shelf.scroll);
}

TEST(ShelfViewTree, OpenButtonOpensTheDesktopFolderIfThereIsOne) {
    FakePlatform platform;
    platform.folders.desktopPath = QStringLiteral("/home/someone/桌面");
    const ShelfController shelf(platform.services);
    auto* open = shelf.content->findChild<QPushButton*>();
    ASSERT_NE(open, nullptr);
    QTest::mouseClick(open, Qt::LeftButton);
    EXPECT_EQ(platform.workspace.opened,
              QList{QUrl::fromLocalFile(QStringLiteral("/home/someone/桌面"))});

    FakePlatform without;
    without.folders.desktopPath.clear();
    ShelfController(without.services).openDesktop();
    EXPECT_TRUE(without.workspace.opened.isEmpty());
}

TEST(DropViewRim, IsThinUntilADropIsPendingAndFollowsThePalette) {
    FakePlatform platform;
    const ShelfController shelf(platform.services);
    DropView& view = *shelf.root;
    const QColor label = view.palette().color(QPalette::WindowText);
    EXPECT_EQ(view.rimWidth(), 0.5);
    EXPECT_EQ(view.rimColor().rgb(), label.rgb());
    EXPECT_NEAR(view.rimColor().alphaF(), 0.16, 0.005);

    view.dropHighlighted = true;
    view.updateRim();
    EXPECT_EQ(view.rimWidth(), 2.0);
    EXPECT_EQ(view.rimColor(), view.palette().color(QPalette::Highlight));

    // Switching to a dark palette turns the highlighted rim to that palette's accent, and the
    // normal rim to its light text colour.
    const QPalette light = QApplication::palette();
    QPalette dark(QColor(40, 40, 40));
    dark.setColor(QPalette::WindowText, QColor(235, 235, 235));
    dark.setColor(QPalette::Highlight, QColor(10, 132, 255));
    QApplication::setPalette(dark);
    QApplication::processEvents(); // Qt delivers the change to widgets as a posted event
    EXPECT_EQ(view.rimColor(), QColor(10, 132, 255));
    view.dropHighlighted = false;
    view.updateRim();
    EXPECT_EQ(view.rimColor().rgb(), QColor(235, 235, 235).rgb());
    QApplication::setPalette(light);
    QApplication::processEvents();
}

TEST(ShelfPanelShape, CornersAreCutOffOnlyWithoutACompositor) {
    FakePlatform platform;
    platform.compositor.active = false;
    ShelfController shelf(platform.services);
    shelf.showShelf();
    ASSERT_TRUE(shelf.panel->isVisible());
    const QRegion mask = shelf.panel->mask();
    EXPECT_FALSE(mask.contains(QPoint(1, 1)));
    EXPECT_FALSE(mask.contains(QPoint(418, 348)));
    EXPECT_TRUE(mask.contains(QPoint(22, 1)));
    EXPECT_TRUE(mask.contains(QPoint(210, 175)));

    platform.compositor.active = true;
    shelf.panel->hide();
    shelf.panel->show();
    EXPECT_TRUE(shelf.panel->mask().isEmpty());
}

} // namespace
} // namespace verrabel
