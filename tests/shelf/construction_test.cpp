#include "shelf/controls.h"
#include "shelf/drop_view.h"
#include "shelf/shelf_controller.h"
#include "shelf/shelf_panel.h"
#include "support/fake_platform.h"

#include <QApplication>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

TEST(ShelfConstruction, StartsCollapsedWithTheControlsAtTheirFrames) {
    testing::FakePlatform platform;
    platform.folders.desktopPath = QStringLiteral("/home/someone/桌面");
    const ShelfController shelf(platform.services);
    EXPECT_FALSE(shelf.panel->isVisible());
    EXPECT_TRUE(platform.timers.last->scheduled);
    EXPECT_EQ(platform.activity.active, 1);
    EXPECT_EQ(shelf.message->text(), QStringLiteral("拖入存到桌面 · 拖出到其他应用"));

    // The design's frames have y up from the bottom of the 350-high content.
    const std::vector<QRect> frames{{23, 23, 26, 28},   {61, 16, 240, 23}, {61, 41, 290, 16},
                                    {22, 66, 376, 1},   {22, 302, 376, 1}, {14, 71, 392, 230},
                                    {22, 314, 278, 18}, {320, 309, 78, 28}};
    const auto views = shelf.content->findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
    ASSERT_EQ(views.size(), static_cast<qsizetype>(frames.size()));
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(views[static_cast<qsizetype>(i)]->geometry(), frames[i]) << i;
    }
    // The open button opens the Desktop, when there is one.
    QTest::mouseClick(views.last(), Qt::LeftButton);
    EXPECT_EQ(platform.workspace.opened, QList{QUrl::fromLocalFile("/home/someone/桌面")});
    testing::FakePlatform without;
    without.folders.desktopPath.clear();
    ShelfController(without.services).openDesktop();
    EXPECT_TRUE(without.workspace.opened.isEmpty());
}

TEST(DropViewRim, IsThinUntilADropIsPendingAndFollowsThePalette) {
    testing::FakePlatform platform;
    const ShelfController shelf(platform.services);
    DropView& view = *shelf.root;
    EXPECT_EQ(view.rimWidth(), 0.5);
    EXPECT_EQ(view.rimColor().rgb(), view.palette().color(QPalette::WindowText).rgb());
    EXPECT_NEAR(view.rimColor().alphaF(), 0.16, 0.005);
    view.dropHighlighted = true;
    view.updateRim();
    EXPECT_EQ(view.rimWidth(), 2.0);
    // A dark palette turns the highlighted rim to its accent, the normal rim to its text colour.
    const QPalette light = QApplication::palette();
    QPalette dark(QColor(40, 40, 40));
    dark.setColor(QPalette::WindowText, QColor(235, 235, 235));
    dark.setColor(QPalette::Highlight, QColor(10, 132, 255));
    QApplication::setPalette(dark);
    QApplication::processEvents(); // Qt delivers the change as a posted event
    EXPECT_EQ(view.rimColor(), QColor(10, 132, 255));
    view.dropHighlighted = false;
    view.updateRim();
    EXPECT_EQ(view.rimColor().rgb(), QColor(235, 235, 235).rgb());
    QApplication::setPalette(light);
    QApplication::processEvents();
}

TEST(ShelfPanelShape, CornersAreCutOffOnlyWithoutACompositor) {
    testing::FakePlatform platform;
    platform.compositor.active = false;
    ShelfController shelf(platform.services);
    shelf.showShelf();
    const QRegion mask = shelf.panel->mask();
    EXPECT_FALSE(mask.contains(QPoint(1, 1)) || mask.contains(QPoint(418, 348)));
    EXPECT_TRUE(mask.contains(QPoint(22, 1)) && mask.contains(QPoint(210, 175)));
    platform.compositor.active = true;
    shelf.panel->hide();
    shelf.panel->show();
    EXPECT_TRUE(shelf.panel->mask().isEmpty());
}

} // namespace
} // namespace verrabel
