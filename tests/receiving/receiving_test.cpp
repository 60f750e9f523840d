#include "platform/file_urls.h"
#include "shelf/controls.h"
#include "shelf/drop_view.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QRegularExpression>

#include <sys/stat.h>

namespace verrabel {
namespace {

using testing::FakePromise;

class Receiving : public testing::ShelfTest {
protected:
    QUrl from(const QString& name) {
        files.write("from/" + name);
        return QUrl::fromLocalFile(files.path("from/" + name));
    }
    /// Sends a drag entering, or a drop, with these URLs (none: data that cannot be read) to the
    /// shelf's root; returns whether the view took it.
    bool send(QEvent::Type type, const QList<QUrl>& urls = {},
              Qt::DropActions offered = Qt::CopyAction | Qt::MoveAction,
              const QByteArray& transferKey = {}) {
        QMimeData data;
        if (!urls.isEmpty()) {
            data.setUrls(urls);
        }
        if (!transferKey.isEmpty()) {
            data.setData("application/vnd.portal.filetransfer", transferKey);
        }
        QDragEnterEvent enter(QPoint(200, 200), offered, &data, Qt::LeftButton, Qt::NoModifier);
        QDropEvent drop(QPointF(200, 200), offered, &data, Qt::LeftButton, Qt::NoModifier);
        QDropEvent& event = type == QEvent::DragEnter ? enter : drop;
        QCoreApplication::sendEvent(shelf->root, &event);
        m_answer = event.isAccepted() ? event.dropAction() : Qt::IgnoreAction;
        return event.isAccepted();
    }
    bool highlighted() const {
        return shelf->root->dropHighlighted && shelf->root->rimWidth() == 2;
    }
    QString message() const { return shelf->message->text(); }
    /// The source writes the files into the folder it was given, and they are delivered.
    static void deliver(FakePromise& source, const QStringList& names) {
        QList<QUrl> items;
        for (const QString& name : names) {
            QFile file(source.folder + '/' + name);
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            file.write(name.toUtf8());
            items.append(QUrl::fromLocalFile(file.fileName()));
        }
        source.delivered({items, std::nullopt});
    }

    Qt::DropAction m_answer = Qt::IgnoreAction;
    const QUrl m_file = QUrl::fromLocalFile("/tmp/a.txt");
    const QUrl m_web = QUrl("https://example.com/a.pdf");
};

TEST_F(Receiving, AFileDragHighlightsAndHintsAndOnlyFileCopiesAreTaken) {
    EXPECT_FALSE(send(QEvent::DragEnter, {m_web}));
    EXPECT_FALSE(send(QEvent::DragEnter, {m_file}, Qt::MoveAction | Qt::LinkAction));
    EXPECT_FALSE(shelf->expanded);
    EXPECT_EQ(message(), "拖入存到桌面 · 拖出到其他应用");
    EXPECT_TRUE(send(QEvent::DragEnter, {m_file}));
    EXPECT_EQ(m_answer, Qt::CopyAction); // never move or link
    EXPECT_TRUE(shelf->receiving && shelf->expanded && highlighted());
    EXPECT_EQ(shelf->root->rimColor(), shelf->root->palette().color(QPalette::Highlight));
    EXPECT_EQ(message(), "松手即可存到桌面");
    QDragLeaveEvent leave;
    QCoreApplication::sendEvent(shelf->root, &leave);
    EXPECT_FALSE(shelf->receiving || highlighted());
    EXPECT_EQ(message(), "松手即可存到桌面"); // the hint stays

    // The files are handed over before the drop ends; web links are left out.
    send(QEvent::DragEnter, {m_file});
    EXPECT_TRUE(send(QEvent::Drop, {m_file, m_web, QUrl::fromLocalFile("/tmp/b.txt")}));
    EXPECT_EQ(shelf->busy, 1);
    EXPECT_FALSE(shelf->receiving || highlighted());
    // Web links only: refused, and the hint stays.
    send(QEvent::DragEnter, {m_file});
    EXPECT_FALSE(send(QEvent::Drop, {m_web}));
    EXPECT_EQ(message(), "松手即可存到桌面");
    send(QEvent::DragEnter, {m_file});
    // wlroots hands the data over while the drag moves, not once it is dropped.
    EXPECT_TRUE(send(QEvent::Drop));
    EXPECT_EQ(shelf->busy, 2);
    // Promises and files at once are received as promises.
    const auto promise = std::make_shared<FakePromise>();
    platform.promises.next = {promise};
    ASSERT_TRUE(send(QEvent::DragEnter, {m_file}));
    EXPECT_TRUE(send(QEvent::Drop, {m_file}));
    EXPECT_FALSE(promise->folder.isEmpty());
    // Without its controller the view still answers, but takes nothing.
    shelf->root->owner = nullptr;
    EXPECT_TRUE(send(QEvent::DragEnter, {m_file}) && highlighted());
    EXPECT_FALSE(send(QEvent::Drop, {m_file}) || highlighted());
    EXPECT_EQ(shelf->busy, 3);
}

TEST_F(Receiving, ImportsCopyInTheBackgroundAndReportFailuresInOneAlert) {
    ASSERT_EQ(mkfifo(files.native("from/pipe"), 0644), 0);
    shelf->importFiles({from("a.txt"), from("b.txt")});
    shelf->importFiles({from("c.txt"), QUrl::fromLocalFile(files.path("from/pipe"))});
    EXPECT_EQ(shelf->busy, 2);
    EXPECT_EQ(message(), "正在复制到桌面…");
    EXPECT_TRUE(files.names("Desktop").isEmpty()); // nothing is copied on the main thread
    // Drops in quick succession: copied and reported one after the other.
    queue("Verrabel.files").items.front()();
    queue("Verrabel.files").items.pop_front();
    QCoreApplication::processEvents();
    EXPECT_EQ(shelf->busy, 1);
    EXPECT_EQ(message(), "已存到桌面 · 2 个项目");
    finishWork();
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(message(), "1 个项目保存失败");
    ASSERT_EQ(platform.alerts.shown.size(), 1);
    const Alert& alert = platform.alerts.shown.constFirst();
    EXPECT_EQ(alert.messageText, "部分文件未能保存");
    EXPECT_EQ(alert.informativeText, "pipe：不能保存特殊文件（管道、套接字或设备）。");
    EXPECT_EQ(alert.buttons, QStringList{"好"});
    EXPECT_EQ(files.names("Desktop"), (QStringList{"a.txt", "b.txt", "c.txt"}));
    EXPECT_EQ(shelf->count->text(), "3 个项目 · 与桌面同步"); // refreshed at the end

    // Busy never goes below zero.
    shelf->importFiles({QUrl::fromLocalFile(files.path("Desktop/a.txt"))});
    shelf->busy = 0;
    finishWork();
    EXPECT_EQ(shelf->busy, 0);
}

TEST_F(Receiving, FilesFromSandboxedAppsComeByTheirPortalKey) {
    // A drop that offers only a key (GTK ends it with a NUL) is a drop of files.
    platform.transfers.files.insert("1", QStringList{from("a.txt").toLocalFile()});
    const auto drop = [this](const QList<QUrl>& urls, const QByteArray& key) {
        return send(QEvent::DragEnter, urls, Qt::CopyAction, key) && highlighted() &&
               send(QEvent::Drop, urls, Qt::CopyAction, key);
    };
    EXPECT_TRUE(drop({}, QByteArray("1\0", 2)));
    EXPECT_EQ(shelf->busy, 1);
    finishWork();
    EXPECT_EQ(files.names("Desktop"), QStringList{"a.txt"});
    EXPECT_EQ(message(), "已存到桌面 · 1 个项目");

    // The path the sender names is inside its sandbox, whatever the host has there: the
    // portal's file is saved, not the host's look-alike.
    files.write("sandboxed-b.txt", "the app's");
    platform.transfers.files.insert("2", QStringList{files.path("sandboxed-b.txt")});
    EXPECT_TRUE(drop({from("b.txt")}, "2"));
    finishWork();
    EXPECT_EQ(files.read("Desktop/sandboxed-b.txt"), "the app's");
    // A portal that has none of them: the readable paths are saved, the others named with the
    // portal's word.
    EXPECT_TRUE(drop({QUrl::fromLocalFile(files.path("from/b.txt")),
                      QUrl::fromLocalFile("/nonexistent/sandbox/c.txt")},
                     "3"));
    platform.transfers.files.insert(
        "4", TransferError{TransferFailure::Refused, QStringLiteral("Invalid transfer")});
    EXPECT_TRUE(drop({}, "4"));
    finishWork();
    EXPECT_EQ(platform.transfers.retrieved, (QStringList{"1", "2", "3", "4"}));
    EXPECT_EQ(files.names("Desktop"), (QStringList{"a.txt", "b.txt", "sandboxed-b.txt"}));
    ASSERT_EQ(platform.alerts.shown.size(), 2);
    EXPECT_EQ(platform.alerts.shown[0].informativeText,
              "c.txt：来自沙盒应用，但文档门户（xdg-desktop-portal）没有运行");
    EXPECT_EQ(platform.alerts.shown[1].informativeText,
              "拖入的文件：来自沙盒应用，但文档门户拒绝交出文件（Invalid transfer）");
    EXPECT_EQ(message(), "1 个项目保存失败");

    // Where the key is read in the background, the shelf holds and says it copies until the
    // source answered; a source that never does leaves the host's readable paths saved and the
    // others named.
    platform.promises.readsKeysLater = true;
    EXPECT_TRUE(drop({}, QByteArray("5")));
    EXPECT_EQ(shelf->busy, 1);
    EXPECT_EQ(message(), "正在复制到桌面…");
    platform.transfers.files.insert("5", QStringList{files.path("from/b.txt")});
    std::exchange(platform.promises.keyRead, {})(QStringLiteral("5"));
    EXPECT_TRUE(drop({from("d.txt"), QUrl::fromLocalFile("/nonexistent/sandbox/e.txt")}, "6"));
    std::exchange(platform.promises.keyRead, {})(std::nullopt);
    finishWork();
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(platform.transfers.retrieved.last(), "5");
    EXPECT_EQ(files.names("Desktop"),
              (QStringList{"a.txt", "b (1).txt", "b.txt", "d.txt", "sandboxed-b.txt"}));
    EXPECT_EQ(platform.alerts.shown.last().informativeText, "e.txt：来源程序没有交出文件");

    // The shelf's own rows, dropped back on it, are read from their paths: the drag that offers
    // their key is made on this thread, and asking it would wait on itself.
    shelf->exporting = true;
    EXPECT_TRUE(drop({QUrl::fromLocalFile(files.path("Desktop/d.txt"))}, "7"));
    shelf->exporting = false;
    EXPECT_FALSE(platform.promises.keyRead);
    finishWork();
    EXPECT_EQ(platform.transfers.retrieved.last(), "5");
    EXPECT_EQ(message(), "已存到桌面 · 1 个项目");
}

TEST_F(Receiving, AnArchivesEntryIsTakenAndSaysWhyItCannotBeSaved) {
    // As archive managers offer an entry where X Direct Save does not exist (Wayland). Its path
    // names a file that exists here: that one must not be copied instead.
    const QUrl entry("archive://file%253A%252F%252F%252Ftmp%252Fa.zip/" +
                     QUrl::toPercentEncoding(files.path("from/a.txt")).replace("%2F", "/"));
    from("a.txt");
    EXPECT_FALSE(send(QEvent::DragEnter, {QUrl("magnet:?xt=urn:btih:0"), m_web})); // links
    ASSERT_TRUE(send(QEvent::DragEnter, {entry, m_web}));
    EXPECT_TRUE(highlighted());
    EXPECT_TRUE(send(QEvent::Drop, {entry, m_web}));
    finishWork();
    EXPECT_TRUE(files.names("Desktop").isEmpty());
    ASSERT_EQ(platform.alerts.shown.size(), 1);
    EXPECT_EQ(platform.alerts.shown[0].informativeText,
              "a.txt：不是本机文件（位于 "
              "archive://），无法直接保存。请先在原应用中把它解压或保存到本机。");
}

TEST_F(Receiving, EachPromiseArrivesThroughAFolderOfItsOwnThatGoes) {
    const auto three = std::make_shared<FakePromise>();
    const auto two = std::make_shared<FakePromise>();
    shelf->receive({three, two});
    EXPECT_EQ(shelf->busy, 2);
    EXPECT_EQ(message(), "正在接收文件…");
    // Staged hidden in the Desktop, on its file system.
    EXPECT_EQ(QFileInfo(three->folder).absolutePath(), files.path("Desktop"));
    EXPECT_TRUE(QFileInfo(three->folder).fileName().startsWith(".verrabel-"));
    // One promise may bring several items (an archiver's entries); the count says how many.
    deliver(*two, {"photo.jpg", "photo 2.jpg"});
    finishWork();
    EXPECT_EQ(shelf->busy, 1); // one still to come
    EXPECT_EQ(message(), "已存到桌面 · 2 个项目");
    EXPECT_FALSE(QDir(two->folder).exists());
    deliver(*three, {"a.txt", "b.txt", "c.txt"});
    finishWork();
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(message(), "已存到桌面 · 3 个项目");
    EXPECT_EQ(files.names("Desktop"),
              (QStringList{"a.txt", "b.txt", "c.txt", "photo 2.jpg", "photo.jpg"}));

    // A failed delivery is an error line for each item the source left, else one; a promise
    // without a folder (the Desktop gone), an alert of its own.
    const auto source = std::make_shared<FakePromise>();
    shelf->receive({source});
    source->delivered({.items = {}, .error = "No space left on device", .failed = {"big.bin"}});
    finishWork();
    EXPECT_EQ(message(), "1 个项目保存失败");
    ASSERT_EQ(platform.alerts.shown.size(), 1);
    EXPECT_EQ(platform.alerts.shown.constFirst().informativeText,
              "big.bin：No space left on device");
    shelf->receive({source});
    source->delivered({{}, QString("来源程序没能提供这个文件。")});
    finishWork();
    ASSERT_EQ(platform.alerts.shown.size(), 2);
    EXPECT_EQ(platform.alerts.shown.constLast().informativeText, "来源程序没能提供这个文件。");
    ASSERT_TRUE(QDir(files.path("Desktop")).removeRecursively());
    shelf->receive({std::make_shared<FakePromise>(), std::make_shared<FakePromise>()});
    ASSERT_EQ(platform.alerts.shown.size(), 4);
    EXPECT_EQ(platform.alerts.shown.constLast().messageText, "部分文件未能保存");
    EXPECT_FALSE(platform.alerts.shown.constLast().informativeText.isEmpty());
    EXPECT_EQ(shelf->busy, 0);
    EXPECT_EQ(message(), "1 个项目保存失败"); // unchanged
}

} // namespace
} // namespace verrabel
