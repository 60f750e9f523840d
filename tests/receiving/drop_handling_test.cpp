#include "shelf/controls.h"
#include "shelf/drop_view.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;

QMimeData* urls(const QList<QUrl>& list) {
    auto* data = new QMimeData;
    data->setUrls(list);
    return data;
}

class Drop : public ::testing::Test {
protected:
    /// Sends a drag event of `type` to the shelf's root; returns whether the view took it.
    bool send(QEvent::Type type, const QMimeData* data,
              Qt::DropActions offered = Qt::CopyAction | Qt::MoveAction) {
        if (type == QEvent::DragEnter) {
            QDragEnterEvent event({200, 200}, offered, data, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(shelf.root, &event);
            m_answer = event.isAccepted() ? event.dropAction() : Qt::IgnoreAction;
            return event.isAccepted();
        }
        if (type == QEvent::Drop) {
            QDropEvent event({200, 200}, offered, data, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(shelf.root, &event);
            return event.isAccepted();
        }
        QDragLeaveEvent event;
        QCoreApplication::sendEvent(shelf.root, &event);
        return true;
    }
    bool highlighted() const {
        return shelf.root->dropHighlighted && shelf.root->rimWidth() == 2.0;
    }

    FakePlatform platform;
    ShelfController shelf{platform.services};
    Qt::DropAction m_answer = Qt::IgnoreAction;
    std::unique_ptr<QMimeData> file{urls({QUrl::fromLocalFile("/tmp/a.txt")})};
};

TEST_F(Drop, AFileDragHighlightsHoldsAndHintsAndOnlyFileCopiesAreTaken) {
    const std::unique_ptr<QMimeData> link(urls({QUrl("https://example.com/a.pdf")}));
    EXPECT_FALSE(send(QEvent::DragEnter, link.get()));
    EXPECT_FALSE(send(QEvent::DragEnter, file.get(), Qt::MoveAction | Qt::LinkAction));
    EXPECT_FALSE(shelf.expanded);
    EXPECT_EQ(shelf.message->text(), "拖入存到桌面 · 拖出到其他应用");

    EXPECT_TRUE(send(QEvent::DragEnter, file.get()));
    EXPECT_EQ(m_answer, Qt::CopyAction); // never move or link
    EXPECT_TRUE(shelf.receiving && shelf.expanded && highlighted());
    EXPECT_EQ(shelf.root->rimColor(), shelf.root->palette().color(QPalette::Highlight));
    EXPECT_EQ(shelf.message->text(), "松手即可存到桌面");
    send(QEvent::DragLeave, nullptr);
    EXPECT_FALSE(shelf.receiving || highlighted());
    EXPECT_EQ(shelf.message->text(), "松手即可存到桌面"); // the hint stays
}

TEST_F(Drop, ADropHandsTheFilesOverBeforeLettingGo) {
    const std::unique_ptr<QMimeData> mixed(
        urls({QUrl::fromLocalFile("/tmp/b.txt"), QUrl("https://example.com"),
              QUrl::fromLocalFile("/tmp/a.txt")}));
    send(QEvent::DragEnter, mixed.get());
    EXPECT_TRUE(send(QEvent::Drop, mixed.get()));
    EXPECT_EQ(shelf.busy, 1);
    EXPECT_FALSE(shelf.receiving || highlighted());
    EXPECT_EQ(shelf.message->text(), "正在复制到桌面…");
    EXPECT_EQ(platform.queues.queue("Verrabel.files").items.size(), 2U); // sweep, then the import

    // A drop of web links only fails and keeps the hint.
    send(QEvent::DragEnter, file.get());
    const std::unique_ptr<QMimeData> nothing(urls({QUrl("https://example.com")}));
    EXPECT_FALSE(send(QEvent::Drop, nothing.get()));
    EXPECT_EQ(shelf.busy, 1);
    EXPECT_EQ(shelf.message->text(), "松手即可存到桌面");

    // A drag that offers promises and files at once is received as promises.
    const QTemporaryDir temporary;
    platform.folders.temporaryPath = temporary.path();
    const auto promise = std::make_shared<testing::FakePromise>();
    platform.promises.next = {promise};
    ASSERT_TRUE(send(QEvent::DragEnter, file.get()));
    EXPECT_TRUE(send(QEvent::Drop, file.get()));
    EXPECT_FALSE(promise->folder.isEmpty());
    EXPECT_EQ(shelf.message->text(), "正在接收文件…");
    EXPECT_EQ(platform.queues.queue("Verrabel.files").items.size(), 2U);
}

TEST_F(Drop, ADropWhoseDataCannotBeReadTakesWhatTheDragGave) {
    // wlroots hands the data over while the drag moves, not once it is dropped.
    send(QEvent::DragEnter, file.get());
    const QMimeData unreadable;
    EXPECT_TRUE(send(QEvent::Drop, &unreadable));
    EXPECT_EQ(shelf.busy, 1);
    // What a drag gave is not kept for the next one.
    send(QEvent::DragLeave, nullptr);
    EXPECT_FALSE(send(QEvent::Drop, &unreadable));
    EXPECT_EQ(shelf.busy, 1);
}

TEST_F(Drop, WithoutTheControllerTheViewStillAnswersButTakesNothing) {
    shelf.root->owner = nullptr;
    EXPECT_TRUE(send(QEvent::DragEnter, file.get()));
    EXPECT_TRUE(highlighted());
    EXPECT_FALSE(send(QEvent::Drop, file.get()));
    EXPECT_FALSE(highlighted());
    EXPECT_EQ(shelf.busy, 0);
}

} // namespace
} // namespace verrabel
