#include "shelf/controls.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace verrabel {
namespace {

using testing::FakePlatform;
using testing::ManualQueue;

class Import : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_root.isValid());
        QDir().mkpath(desktop());
        QDir().mkpath(m_root.filePath("from"));
        platform.folders.desktopPath = desktop();
        shelf = std::make_unique<ShelfController>(platform.services);
        platform.finishScans();
        files().runAll(); // the start-up sweep of half-made copies
    }
    QString desktop() const { return m_root.filePath("Desktop"); }
    QUrl dropped(const QString& name, bool create = true) const {
        const QString path = m_root.filePath("from/" + name);
        if (create) {
            QFile file(path);
            EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        }
        return QUrl::fromLocalFile(path);
    }
    ManualQueue& files() const { return platform.queues.queue("Verrabel.files"); }
    /// Runs the copies and delivers their reports.
    void finishCopies() {
        files().runAll();
        QCoreApplication::processEvents();
        platform.finishScans();
    }
    QStringList desktopNames() const { return QDir(desktop()).entryList(QDir::Files, QDir::Name); }

    QTemporaryDir m_root;
    FakePlatform platform;
    std::unique_ptr<ShelfController> shelf;
};

TEST_F(Import, CopiesInTheBackgroundAndReportsFailuresInOneAlert) {
    const QUrl pipe = dropped("pipe", false);
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe.toLocalFile()).constData(), 0644), 0);
    shelf->importFiles({dropped("a.txt"), dropped("b.txt")});
    shelf->importFiles({dropped("c.txt"), pipe});
    EXPECT_EQ(shelf->busy, 2);
    EXPECT_EQ(shelf->message->text(), "正在复制到桌面…");
    EXPECT_TRUE(desktopNames().isEmpty()); // nothing is copied on the main thread

    // Drops in quick succession: copied and reported one after the other.
    files().items.front()();
    files().items.pop_front();
    QCoreApplication::processEvents();
    EXPECT_EQ(shelf->busy, 1);
    EXPECT_EQ(shelf->message->text(), "已存到桌面 · 2 个项目");
    EXPECT_TRUE(platform.alerts.shown.isEmpty());
    finishCopies();
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(shelf->message->text(), "1 个项目保存失败");
    ASSERT_EQ(platform.alerts.shown.size(), 1);
    const Alert& alert = platform.alerts.shown.constFirst();
    EXPECT_EQ(alert.messageText, "部分文件未能保存");
    EXPECT_EQ(alert.informativeText, "pipe：不能保存特殊文件（管道、套接字或设备）。");
    EXPECT_EQ(alert.buttons, QStringList{"好"});
    EXPECT_EQ(desktopNames(), (QStringList{"a.txt", "b.txt", "c.txt"}));
    EXPECT_EQ(shelf->count->text(), "3 个项目 · 与桌面同步"); // refreshed at the end
}

TEST_F(Import, AnItemAlreadyOnTheDesktopCountsAsSavedAndBusyNeverGoesBelowZero) {
    QFile(desktop() + "/mine.txt").open(QIODevice::WriteOnly);
    shelf->importFiles({QUrl::fromLocalFile(desktop() + "/mine.txt")});
    shelf->busy = 0; // as if something had lowered it already
    finishCopies();
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(shelf->message->text(), "已存到桌面 · 1 个项目");
    EXPECT_EQ(desktopNames(), QStringList{"mine.txt"});
}

} // namespace
} // namespace verrabel
