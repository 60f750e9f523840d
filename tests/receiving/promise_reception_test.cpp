#include "shelf/controls.h"
#include "shelf/drop_view.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QDropEvent>
#include <QFile>
#include <QMimeData>
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

TEST_F(PromiseReception, ThreeAnnouncedFilesArriveAndTheFolderGoes) {
    const auto source = promise({"a.txt", "b.txt", "c.txt"});
    shelf->receive({source});
    EXPECT_EQ(shelf->busy, 1);
    EXPECT_EQ(shelf->message->text(), "正在接收文件…");
    const QString folder = QFileInfo(source->folder).fileName();
    EXPECT_TRUE(QRegularExpression(
                    "^Verrabel-[0-9A-F]{8}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{4}-[0-9A-F]{12}$")
                    .match(folder)
                    .hasMatch())
        << folder.toStdString();
    EXPECT_TRUE(QFileInfo(source->folder).isDir());

    deliver(*source, "a.txt");
    deliver(*source, "b.txt");
    finishReaders();
    EXPECT_EQ(shelf->busy, 1); // one still to come
    deliver(*source, "c.txt");
    finishReaders();

    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(shelf->message->text(), "已存到桌面 · 3 个项目");
    EXPECT_EQ(desktopNames(), (QStringList{"a.txt", "b.txt", "c.txt"}));
    EXPECT_TRUE(temporaryFolders().isEmpty());
    EXPECT_TRUE(platform.alerts.shown.isEmpty());
}

TEST_F(PromiseReception, APromiseWithoutNamesExpectsOneFile) {
    const auto source = promise();
    shelf->receive({source});
    deliver(*source, "photo.jpg");
    finishReaders();
    EXPECT_EQ(shelf->message->text(), "已存到桌面 · 1 个项目");
    EXPECT_EQ(desktopNames(), QStringList{"photo.jpg"});
}

TEST_F(PromiseReception, TwoPromisesAreTwoReceptions) {
    const auto first = promise();
    const auto second = promise();
    shelf->receive({first, second});
    EXPECT_EQ(shelf->busy, 2);
    EXPECT_NE(first->folder, second->folder);

    deliver(*second, "two.txt");
    finishReaders();
    EXPECT_EQ(shelf->busy, 1);
    deliver(*first, "one.txt");
    finishReaders();
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(desktopNames(), (QStringList{"one.txt", "two.txt"}));
}

TEST_F(PromiseReception, AFileThatDoesNotArriveIsOneErrorLine) {
    const auto source = promise({"a", "b", "c"});
    shelf->receive({source});
    deliver(*source, "a");
    source->delivered({{}, QString("来源程序没能提供这个文件。")});
    deliver(*source, "c");
    finishReaders();

    EXPECT_EQ(shelf->message->text(), "1 个项目保存失败");
    ASSERT_EQ(platform.alerts.shown.size(), 1);
    EXPECT_EQ(platform.alerts.shown.constFirst().informativeText, "来源程序没能提供这个文件。");
    EXPECT_EQ(desktopNames(), (QStringList{"a", "c"}));
}

TEST_F(PromiseReception, AnUnwritableTemporaryFolderIsAnAlertPerPromise) {
    QFile(m_root.filePath("not-a-folder")).open(QIODevice::WriteOnly);
    platform.folders.temporaryPath = m_root.filePath("not-a-folder");
    const QString before = shelf->message->text();

    shelf->receive({promise(), promise()});
    EXPECT_EQ(platform.alerts.shown.size(), 2);
    EXPECT_EQ(platform.alerts.shown.constFirst().messageText, "部分文件未能保存");
    EXPECT_FALSE(platform.alerts.shown.constFirst().informativeText.isEmpty());
    EXPECT_EQ(platform.alerts.shown.constFirst().buttons, QStringList{"好"});
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(shelf->message->text(), before);
}

TEST_F(PromiseReception, ADropWithPromisesAndFilesIsReceivedAsPromises) {
    const auto source = promise();
    platform.promises.next = {source};
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/tmp/a.txt")});
    QDragEnterEvent enter({200, 200}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(shelf->root, &enter);
    ASSERT_TRUE(enter.isAccepted()); // promises alone make a drag acceptable
    QDropEvent drop({200, 200}, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(shelf->root, &drop);

    EXPECT_TRUE(drop.isAccepted());
    EXPECT_FALSE(source->folder.isEmpty());
    EXPECT_EQ(shelf->message->text(), "正在接收文件…");
    EXPECT_EQ(platform.queues.queue("Verrabel.files").items.size(), 1U); // only the start-up sweep
}

} // namespace
} // namespace verrabel
