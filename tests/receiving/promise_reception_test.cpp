#include "shelf/controls.h"
#include "shelf/drop_view.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;
using testing::FakePromise;

class PromiseReception : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_root.isValid());
        QDir().mkpath(m_root.filePath("Desktop"));
        QDir().mkpath(m_root.filePath("tmp"));
        platform.folders.desktopPath = m_root.filePath("Desktop");
        platform.folders.temporaryPath = m_root.filePath("tmp");
        shelf = std::make_unique<ShelfController>(platform.services);
        platform.finishScans();
    }
    std::shared_ptr<FakePromise> promise(const QStringList& names = {}) const {
        return std::make_shared<FakePromise>(names);
    }
    /// The source writes `name` into the folder it was given and reports it delivered.
    static void deliver(FakePromise& source, const QString& name) {
        const QString path = source.folder + '/' + name;
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(name.toUtf8());
        file.close();
        source.delivered({{QUrl::fromLocalFile(path)}, std::nullopt});
    }
    /// Runs the readers and delivers the reports.
    void finishReaders() {
        QCoreApplication::processEvents();
        platform.queues.queue(QString()).runAll();
        QCoreApplication::processEvents();
        platform.finishScans();
    }
    QStringList desktopNames() const {
        return QDir(platform.folders.desktopPath).entryList(QDir::Files, QDir::Name);
    }
    QStringList temporaryFolders() const {
        return QDir(platform.folders.temporaryPath).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    }

    QTemporaryDir m_root;
    FakePlatform platform;
    std::unique_ptr<ShelfController> shelf;
};

TEST_F(PromiseReception, EachPromiseArrivesThroughAFolderOfItsOwnThatGoes) {
    const auto three = promise({"a.txt", "b.txt", "c.txt"});
    const auto unnamed = promise(); // expects one file
    shelf->receive({three, unnamed});
    EXPECT_EQ(shelf->busy, 2);
    EXPECT_EQ(shelf->message->text(), "正在接收文件…");
    EXPECT_TRUE(QRegularExpression("^Verrabel-[0-9A-F]{8}-([0-9A-F]{4}-){3}[0-9A-F]{12}$")
                    .match(QFileInfo(three->folder).fileName())
                    .hasMatch());
    EXPECT_NE(three->folder, unnamed->folder);

    deliver(*three, "a.txt");
    deliver(*three, "b.txt");
    deliver(*unnamed, "photo.jpg");
    finishReaders();
    EXPECT_EQ(shelf->busy, 1); // one still to come
    EXPECT_EQ(shelf->message->text(), "已存到桌面 · 1 个项目");
    deliver(*three, "c.txt");
    finishReaders();
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(shelf->message->text(), "已存到桌面 · 3 个项目");
    EXPECT_EQ(desktopNames(), (QStringList{"a.txt", "b.txt", "c.txt", "photo.jpg"}));
    EXPECT_TRUE(temporaryFolders().isEmpty());
    EXPECT_TRUE(platform.alerts.shown.isEmpty());
}

TEST_F(PromiseReception, FailuresAreErrorLinesOrAnAlertPerPromiseWithoutAFolder) {
    const auto source = promise({"a", "b"});
    shelf->receive({source});
    deliver(*source, "a");
    source->delivered({{}, QString("来源程序没能提供这个文件。")});
    finishReaders();
    EXPECT_EQ(shelf->message->text(), "1 个项目保存失败");
    ASSERT_EQ(platform.alerts.shown.size(), 1);
    EXPECT_EQ(platform.alerts.shown.constFirst().informativeText, "来源程序没能提供这个文件。");
    EXPECT_EQ(desktopNames(), QStringList{"a"});

    QFile(m_root.filePath("not-a-folder")).open(QIODevice::WriteOnly);
    platform.folders.temporaryPath = m_root.filePath("not-a-folder");
    shelf->receive({promise(), promise()});
    ASSERT_EQ(platform.alerts.shown.size(), 3);
    EXPECT_EQ(platform.alerts.shown.constLast().messageText, "部分文件未能保存");
    EXPECT_FALSE(platform.alerts.shown.constLast().informativeText.isEmpty());
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(shelf->message->text(), "1 个项目保存失败"); // unchanged
}

} // namespace
} // namespace verrabel
