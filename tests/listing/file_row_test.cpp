#include "listing/desktop_scan.h"
#include "listing/file_row.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QLocale>
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

TEST_F(Row, ShowsTheSizeOrFolder) {
    const auto detail = [this](qint64 size, bool folder) {
        return FileRow(entry(QStringLiteral("x"), size, folder), &shelf, 374, platform.services)
            .detail();
    };
    EXPECT_EQ(detail(48213, false), QStringLiteral("48.2 kB"));
    EXPECT_EQ(detail(0, false), QLocale().formattedDataSize(0, 1, QLocale::DataSizeSIFormat));
    EXPECT_EQ(detail(0, true), QStringLiteral("文件夹"));
}

TEST_F(Row, ExactlyTheSecondClickOpensAndAMoveOfMoreThanFourPointsDragsOut) {
    FileRow row(entry(QStringLiteral("a.txt"), 1), &shelf, 374, platform.services);
    send(&row, QEvent::MouseButtonPress, {100, 20});
    send(&row, QEvent::MouseButtonDblClick, {100, 20});
    send(&row, QEvent::MouseButtonPress, {100, 20}); // the third click of a triple click
    EXPECT_EQ(platform.workspace.opened, QList{row.url});

    bool exportingDuringDrag = false;
    platform.drags.during = [&] { exportingDuringDrag = shelf.exporting; };
    send(&row, QEvent::MouseMove, {104, 20}); // exactly 4.0: not yet
    send(&row, QEvent::MouseMove, {100, 24});
    EXPECT_TRUE(platform.drags.dragged.isEmpty());
    send(&row, QEvent::MouseMove, {102.5, 23.2}); // about 4.06
    EXPECT_EQ(platform.drags.dragged, QList{row.url});
    EXPECT_TRUE(exportingDuringDrag);
    EXPECT_FALSE(shelf.exporting);            // cleared when the drag ends, dropped or cancelled
    send(&row, QEvent::MouseMove, {150, 40}); // the same press never starts a second drag
    EXPECT_EQ(platform.drags.dragged.size(), 1);

    // Only the left button drags, even with a left press remembered from before.
    send(&row, QEvent::MouseButtonPress, {100, 20});
    send(&row, QEvent::MouseButtonRelease, {100, 20});
    QMouseEvent rightDrag(QEvent::MouseMove, {150, 40}, {150, 40}, row.mapToGlobal(QPoint(150, 40)),
                          Qt::NoButton, Qt::RightButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&row, &rightDrag);
    EXPECT_EQ(platform.drags.dragged.size(), 1);

    // Without its controller the row still drags.
    auto owner = std::make_unique<ShelfController>(platform.services);
    FileRow orphan(entry(QStringLiteral("b.txt"), 1), owner.get(), 374, platform.services);
    owner.reset();
    send(&orphan, QEvent::MouseButtonPress, {100, 20});
    send(&orphan, QEvent::MouseMove, {120, 20});
    EXPECT_EQ(platform.drags.dragged.size(), 2);
}

} // namespace
} // namespace verrabel
