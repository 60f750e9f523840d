#include "listing/file_list_view.h"
#include "listing/file_row.h"
#include "shelf/controls.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;

class ListRendering : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_parent.isValid());
        ASSERT_TRUE(QDir().mkpath(desktop()));
        platform.folders.desktopPath = desktop();
        shelf = std::make_unique<ShelfController>(platform.services);
    }
    QString desktop() const { return m_parent.filePath(QStringLiteral("Desktop")); }
    void fill(int count) const {
        for (int i = 0; i < count; ++i) {
            QFile(desktop() + QStringLiteral("/item %1").arg(i, 3, 10, QLatin1Char('0')))
                .open(QIODevice::WriteOnly);
        }
    }
    void removeAllBut(int keep) const {
        const QStringList names = QDir(desktop()).entryList(QDir::Files, QDir::Name);
        std::for_each(names.begin() + keep, names.end(),
                      [this](const QString& name) { QFile::remove(desktop() + '/' + name); });
    }
    /// A rescan, run to the end.
    void rescan() {
        shelf->refresh();
        platform.finishScans();
    }
    FileListView* list() const { return qobject_cast<FileListView*>(shelf->scroll->widget()); }
    QList<FileRow*> rows() const { return list()->findChildren<FileRow*>(); }
    QString listMessage() const {
        const auto* label = list()->findChild<Label*>();
        return label != nullptr ? label->text() : QString();
    }
    QScrollBar* scrollBar() const { return shelf->scroll->verticalScrollBar(); }

    QTemporaryDir m_parent;
    FakePlatform platform;
    std::unique_ptr<ShelfController> shelf;
};

TEST_F(ListRendering, EmptyAndUnreadableDesktopsShowAMessageInsteadOfRows) {
    EXPECT_EQ(shelf->scroll->widget(), nullptr);
    rescan();
    EXPECT_EQ(shelf->count->text(), QStringLiteral("0 个项目 · 与桌面同步"));
    EXPECT_EQ(list()->geometry(), QRect(0, 0, 374, 236));
    EXPECT_EQ(listMessage(), QStringLiteral("桌面还是空的\n把文件拖到这里，就能存到桌面"));
    EXPECT_EQ(list()->findChild<Label*>()->geometry(), QRect(10, 75, 354, 100));

    fill(2);
    rescan();
    ASSERT_TRUE(QDir().rename(desktop(), m_parent.filePath(QStringLiteral("Away"))));
    rescan(); // a failure always replaces the rows
    EXPECT_EQ(shelf->count->text(), QStringLiteral("需要授权"));
    EXPECT_TRUE(rows().isEmpty());
    EXPECT_EQ(listMessage(),
              QStringLiteral("无法读取桌面\n请在系统设置 → 隐私与安全性 → 文件与文件夹\n"
                             "允许 Verrabel 访问桌面，然后重新打开应用。"));
    ASSERT_TRUE(QDir().rename(m_parent.filePath(QStringLiteral("Away")), desktop()));
    rescan();
    EXPECT_EQ(rows().size(), 2);
}

TEST_F(ListRendering, RowsStack54PointsApartAndOnlyThoseNearTheVisibleBandShow) {
    for (const auto& [items, height] :
         std::vector<std::pair<int, int>>{{4, 236}, {5, 270}, {100, 5400}}) {
        removeAllBut(0);
        fill(items);
        rescan();
        EXPECT_EQ(list()->height(), height);
        ASSERT_EQ(rows().size(), items);
        for (FileRow* row : rows()) {
            EXPECT_EQ(row->geometry(), QRect(0, row->name().mid(5).toInt() * 54, 374, 52));
        }
    }
    // The 230-point visible band, and a band's height above and below it.
    const auto shown = [this] {
        QList<int> rowsShown;
        for (FileRow* row : rows()) {
            if (row->isVisibleTo(list())) {
                rowsShown.append(row->y() / 54);
            }
        }
        std::sort(rowsShown.begin(), rowsShown.end());
        return rowsShown;
    };
    EXPECT_EQ(shown().constLast(), 8);   // row 8 begins at 432, within 460
    scrollBar()->setValue(2000);         // rows 37 to 41 in view
    EXPECT_EQ(shown().constFirst(), 32); // ends after 1770
    EXPECT_EQ(shown().constLast(), 45);  // begins before 2460
}

TEST_F(ListRendering, AnUnchangedListingKeepsItsRowsAndARebuildItsScrollOffset) {
    fill(3);
    rescan();
    const QPointer<FileRow> first = rows().constFirst();
    QEvent enter(QEvent::Enter);
    QCoreApplication::sendEvent(first, &enter);
    shelf->count->setText(QString());
    rescan();
    EXPECT_EQ(shelf->count->text(), QStringLiteral("3 个项目 · 与桌面同步"));
    ASSERT_FALSE(first.isNull());
    EXPECT_TRUE(first->isHovered());

    fill(100);
    rescan();
    EXPECT_TRUE(first.isNull()); // a changed listing rebuilds every row
    scrollBar()->setValue(500);
    removeAllBut(6); // 324 high, so at most 324 - 230 = 94
    rescan();
    EXPECT_EQ(scrollBar()->value(), 94);
    fill(100);
    rescan();
    scrollBar()->setValue(120);
    QFile(desktop() + QStringLiteral("/zzz")).open(QIODevice::WriteOnly);
    rescan();
    EXPECT_EQ(scrollBar()->value(), 120);
}

} // namespace
} // namespace verrabel
