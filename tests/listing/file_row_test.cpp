#include "listing/desktop_scan.h"
#include "listing/file_row.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QMenu>
#include <QMouseEvent>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;

DesktopEntry entry(const QString& name, qint64 size, bool isDirectory = false) {
    DesktopEntry item;
    item.name = name;
    item.url = QUrl::fromLocalFile(QStringLiteral("/home/someone/Desktop/") + name);
    item.size = size;
    item.isDirectory = isDirectory;
    return item;
}

void send(QWidget* widget, QEvent::Type type, QPointF at, Qt::MouseButton button = Qt::LeftButton) {
    const Qt::MouseButtons held =
        type == QEvent::MouseMove ? Qt::MouseButtons(Qt::LeftButton) : button;
    QMouseEvent event(type, at, at, widget->mapToGlobal(at),
                      type == QEvent::MouseMove ? Qt::NoButton : button, held, Qt::NoModifier);
    QCoreApplication::sendEvent(widget, &event);
}

class Row : public ::testing::Test {
protected:
    FakePlatform platform;
    ShelfController shelf{platform.services};
};

TEST_F(Row, ShowsNameSizeOrFolderAndThePathAsTooltip) {
    const FileRow file(entry(QStringLiteral("report.pdf"), 48213), &shelf, 374, platform.services);
    EXPECT_EQ(file.size(), QSize(374, 52));
    EXPECT_EQ(file.name(), QStringLiteral("report.pdf"));
    EXPECT_EQ(file.detail(), QStringLiteral("48.2 kB"));
    EXPECT_EQ(file.toolTip(), QStringLiteral("/home/someone/Desktop/report.pdf"));
    EXPECT_EQ(file.accessibleName(), QStringLiteral("report.pdf"));
    EXPECT_EQ(FileRow::iconFrame(), QRect(10, 10, 32, 32));
    EXPECT_EQ(file.nameFrame(), QRect(54, 10, 306, 19));
    EXPECT_EQ(file.detailFrame(), QRect(54, 30, 306, 16));

    EXPECT_EQ(
        FileRow(entry(QStringLiteral("empty.txt"), 0), &shelf, 374, platform.services).detail(),
        QLocale().formattedDataSize(0, 1, QLocale::DataSizeSIFormat));
    EXPECT_EQ(FileRow(entry(QStringLiteral("Tool.app"), 0, true), &shelf, 374, platform.services)
                  .detail(),
              QStringLiteral("文件夹"));
}

TEST_F(Row, HighlightsWhileThePointerIsOverIt) {
    FileRow row(entry(QStringLiteral("a"), 1), &shelf, 374, platform.services);
    EXPECT_FALSE(row.isHovered());
    QEnterEvent enter({10, 10}, {10, 10}, {10, 10});
    QCoreApplication::sendEvent(&row, &enter);
    EXPECT_TRUE(row.isHovered());
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(&row, &leave);
    EXPECT_FALSE(row.isHovered());
}

TEST_F(Row, ExactlyTheSecondClickOpens) {
    FileRow row(entry(QStringLiteral("a.txt"), 1), &shelf, 374, platform.services);
    send(&row, QEvent::MouseButtonPress, {100, 20});
    EXPECT_TRUE(platform.workspace.opened.isEmpty());
    send(&row, QEvent::MouseButtonDblClick, {100, 20});
    EXPECT_EQ(platform.workspace.opened, QList{row.url});
    send(&row, QEvent::MouseButtonPress, {100, 20}); // the third click of a triple click
    EXPECT_EQ(platform.workspace.opened.size(), 1);
}

TEST_F(Row, DragsOutOnceThePointerHasMovedMoreThanFourPoints) {
    FileRow row(entry(QStringLiteral("a.txt"), 1), &shelf, 374, platform.services);
    bool exportingDuringDrag = false;
    platform.drags.during = [&] { exportingDuringDrag = shelf.exporting; };

    send(&row, QEvent::MouseButtonPress, {100, 20});
    send(&row, QEvent::MouseMove, {104, 20}); // exactly 4.0: not yet
    send(&row, QEvent::MouseMove, {100, 24});
    EXPECT_TRUE(platform.drags.dragged.isEmpty());

    send(&row, QEvent::MouseMove, {102.5, 23.2}); // √(2.5² + 3.2²) ≈ 4.06
    EXPECT_EQ(platform.drags.dragged, QList{row.url});
    EXPECT_TRUE(exportingDuringDrag);
    EXPECT_FALSE(shelf.exporting); // cleared when the drag ends, dropped or cancelled

    send(&row, QEvent::MouseMove, {150, 40}); // the same press never starts a second drag
    EXPECT_EQ(platform.drags.dragged.size(), 1);

    // Only the left button drags, even with a left press remembered from before.
    send(&row, QEvent::MouseButtonPress, {100, 20});
    send(&row, QEvent::MouseButtonRelease, {100, 20});
    QMouseEvent rightDrag(QEvent::MouseMove, {150, 40}, {150, 40}, row.mapToGlobal(QPoint(150, 40)),
                          Qt::NoButton, Qt::RightButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&row, &rightDrag);
    EXPECT_EQ(platform.drags.dragged.size(), 1);
}

TEST_F(Row, DragsWithoutAController) {
    auto owner = std::make_unique<ShelfController>(platform.services);
    FileRow row(entry(QStringLiteral("a.txt"), 1), owner.get(), 374, platform.services);
    owner.reset();
    send(&row, QEvent::MouseButtonPress, {100, 20});
    send(&row, QEvent::MouseMove, {120, 20});
    EXPECT_EQ(platform.drags.dragged.size(), 1);
}

TEST_F(Row, ContextMenuShowsTheItemInTheFileManager) {
    FileRow row(entry(QStringLiteral("a.txt"), 1), &shelf, 374, platform.services);
    QContextMenuEvent event(QContextMenuEvent::Mouse, {10, 10}, row.mapToGlobal(QPoint(10, 10)));
    QCoreApplication::sendEvent(&row, &event);

    auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 1);
    EXPECT_EQ(menu->actions().constFirst()->text(), QStringLiteral("在 Finder 中显示"));
    menu->actions().constFirst()->trigger();
    EXPECT_EQ(platform.workspace.revealed, QList{row.url});
    menu->close();
}

} // namespace
} // namespace verrabel
