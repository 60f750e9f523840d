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
        for (qsizetype i = keep; i < names.size(); ++i) {
            QFile::remove(desktop() + '/' + names[i]);
        }
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

TEST_F(ListRendering, AnEmptyDesktopShowsTheEmptyStateFromTheFirstRender) {
    EXPECT_EQ(shelf->scroll->widget(), nullptr);
    rescan();
    EXPECT_EQ(shelf->count->text(), QStringLiteral("0 个项目 · 与桌面同步"));
    ASSERT_NE(list(), nullptr);
    EXPECT_EQ(list()->geometry(), QRect(0, 0, 374, 236));
    EXPECT_EQ(listMessage(), QStringLiteral("桌面还是空的\n把文件拖到这里，就能存到桌面"));
    EXPECT_EQ(list()->findChild<Label*>()->geometry(), QRect(10, 75, 354, 100));
}

TEST_F(ListRendering, RowsStack54PointsApartInAListAtLeast236High) {
    for (const auto& [items, height] :
         std::vector<std::pair<int, int>>{{4, 236}, {5, 270}, {100, 5400}}) {
        SCOPED_TRACE(items);
        removeAllBut(0);
        fill(items);
        rescan();
        EXPECT_EQ(list()->height(), height);
        ASSERT_EQ(rows().size(), items);
        for (FileRow* row : rows()) {
            const int index = row->name().mid(5).toInt();
            EXPECT_EQ(row->geometry(), QRect(0, index * 54, 374, 52));
        }
        EXPECT_EQ(listMessage(), QString());
    }
}

TEST_F(ListRendering, AnUnchangedListingKeepsItsRowsAndTheirHighlight) {
    fill(3);
    rescan();
    const QPointer<FileRow> first = rows().constFirst();
    QEvent enter(QEvent::Enter);
    QCoreApplication::sendEvent(first, &enter);
    ASSERT_TRUE(first->isHovered());
    shelf->count->setText(QString());

    rescan();
    EXPECT_EQ(shelf->count->text(), QStringLiteral("3 个项目 · 与桌面同步"));
    ASSERT_FALSE(first.isNull());
    EXPECT_TRUE(first->isHovered());

    fill(4);
    rescan();
    EXPECT_TRUE(first.isNull()); // a changed listing rebuilds every row
    EXPECT_EQ(rows().size(), 4);
}

TEST_F(ListRendering, TheScrollOffsetSurvivesRebuildsWithinTheNewRange) {
    fill(100);
    rescan();
    scrollBar()->setValue(500);
    removeAllBut(6); // 6 rows: 324 high, so at most 324 - 230 = 94
    rescan();
    EXPECT_EQ(scrollBar()->value(), 94);

    fill(100);
    rescan();
    scrollBar()->setValue(120);
    QFile(desktop() + QStringLiteral("/zzz")).open(QIODevice::WriteOnly);
    rescan();
    EXPECT_EQ(scrollBar()->value(), 120);
}

TEST_F(ListRendering, OnlyRowsNearTheVisibleBandAreShown) {
    fill(100);
    rescan();
    const auto shownRows = [this] {
        QList<int> shown;
        for (FileRow* row : rows()) {
            if (row->isVisibleTo(list())) {
                shown.append(row->y() / 54);
            }
        }
        std::sort(shown.begin(), shown.end());
        return shown;
    };
    // The 230-point visible band, and a band's height above and below it.
    EXPECT_EQ(shownRows().constFirst(), 0);
    EXPECT_EQ(shownRows().constLast(), 8); // row 8 begins at 432, within 460

    scrollBar()->setValue(2000); // rows 37 to 41 in view
    const QList<int> shown = shownRows();
    EXPECT_EQ(shown.constFirst(), 32); // begins at 1728, ends after 1770
    EXPECT_EQ(shown.constLast(), 45);  // begins at 2430, before 2460
    EXPECT_EQ(shown.size(), 14);
}

TEST_F(ListRendering, AFailureAlwaysReplacesTheRows) {
    fill(2);
    rescan();
    ASSERT_EQ(rows().size(), 2);

    ASSERT_TRUE(QDir().rename(desktop(), m_parent.filePath(QStringLiteral("Away"))));
    rescan();
    EXPECT_EQ(shelf->count->text(), QStringLiteral("需要授权"));
    EXPECT_EQ(shelf->rowsSignature, QString());
    EXPECT_TRUE(rows().isEmpty());
    EXPECT_EQ(list()->height(), 236);
    EXPECT_EQ(listMessage(),
              QStringLiteral("无法读取桌面\n请在系统设置 → 隐私与安全性 → 文件与文件夹\n"
                             "允许 Verrabel 访问桌面，然后重新打开应用。"));

    ASSERT_TRUE(QDir().rename(m_parent.filePath(QStringLiteral("Away")), desktop()));
    rescan();
    EXPECT_EQ(rows().size(), 2);
}

} // namespace
} // namespace verrabel
