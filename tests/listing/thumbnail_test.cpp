#include "listing/file_list_view.h"
#include "listing/file_row.h"
#include "listing/thumbnail_cache.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QScrollArea>

#include <sys/stat.h>

#include <utime.h>

namespace verrabel {
namespace {

using testing::Files;

void drawImage(const QString& path, QSize size, const QColor& color) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    ASSERT_TRUE(image.save(path));
}

qint64 modifiedOf(const QString& path) {
    return QFileInfo(path).lastModified().toSecsSinceEpoch();
}

void setModified(const QString& path, qint64 seconds) {
    const utimbuf times{seconds, seconds};
    ASSERT_EQ(utime(QFile::encodeName(path).constData(), &times), 0);
}

/// A thumbnail as another program would have stored it.
void storeThumbnail(const QString& file, const QString& item, qint64 modified, const QColor& color,
                    const QString& size = {}) {
    QDir().mkpath(QFileInfo(file).path());
    QImage image(128, 128, QImage::Format_RGB32);
    image.fill(color);
    image.setText("Thumb::URI", QString::fromUtf8(ThumbnailCache::uriOf(item)));
    image.setText("Thumb::MTime", QString::number(modified));
    if (!size.isEmpty()) {
        image.setText("Thumb::Size", size);
    }
    ASSERT_TRUE(image.save(file));
}

int modeOf(const QString& path) {
    struct stat status {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 0777 : -1;
}

TEST(ThumbnailCache, FindsValidThumbnailsAndStoresNewOnesAsFileManagersDo) {
    Files files;
    const QString root = files.path("cache/thumbnails");
    const ThumbnailCache cache(root);
    // GLib's escaping: the same bytes, the same thumbnail as the file manager's.
    EXPECT_EQ(ThumbnailCache::uriOf("/tmp/x/!$&'()*+,:=@~ b;#[文件]%.png"),
              "file:///tmp/x/!$&'()*+,:=@~%20b%3B%23%5B%E6%96%87%E4%BB%B6%5D%25.png");
    EXPECT_EQ(ThumbnailCache::folderFor(64), "normal");
    EXPECT_EQ(ThumbnailCache::folderFor(129), "large");

    // An image without one gets one, 128 at most, with its URI and time, the user's alone.
    const QString photo = files.path("photo.png");
    drawImage(photo, {300, 150}, Qt::blue);
    const QImage shown = cache.thumbnailFor(photo, 32);
    EXPECT_EQ(shown.size(), QSize(32, 16));
    EXPECT_EQ(shown.pixelColor(16, 8), QColor(Qt::blue));
    const QString name = ThumbnailCache::fileNameOf(ThumbnailCache::uriOf(photo));
    const QImage stored(root + "/normal/" + name);
    EXPECT_EQ(stored.size(), QSize(128, 64));
    EXPECT_EQ(stored.text("Thumb::URI").toUtf8(), ThumbnailCache::uriOf(photo));
    EXPECT_EQ(stored.text("Thumb::MTime").toLongLong(), modifiedOf(photo));
    EXPECT_EQ(modeOf(root + "/normal/" + name), 0600);
    EXPECT_EQ(modeOf(root + "/normal"), 0700);
    EXPECT_EQ(files.names("cache/thumbnails/normal"), QStringList{name}); // no temporaries

    // Another program's valid thumbnail is used, a larger size too; once stale it is not.
    const QString drawing = files.path("drawing.png");
    drawImage(drawing, {40, 40}, Qt::green);
    const QString theirs =
        root + "/large/" + ThumbnailCache::fileNameOf(ThumbnailCache::uriOf(drawing));
    storeThumbnail(theirs, drawing, modifiedOf(drawing), Qt::red);
    EXPECT_EQ(cache.thumbnailFor(drawing, 64).pixelColor(5, 5), QColor(Qt::red));
    setModified(drawing, modifiedOf(drawing) - 60);
    const QImage fresh = cache.thumbnailFor(drawing, 64);
    EXPECT_EQ(fresh.size(), QSize(40, 40)); // never enlarged
    EXPECT_EQ(fresh.pixelColor(5, 5), QColor(Qt::green));
    const QString ours =
        root + "/normal/" + ThumbnailCache::fileNameOf(ThumbnailCache::uriOf(drawing));
    storeThumbnail(ours, drawing, modifiedOf(drawing), Qt::red, "1"); // of another size
    EXPECT_EQ(cache.thumbnailFor(drawing, 64).pixelColor(5, 5), QColor(Qt::green));

    // A broken image is remembered as failed until it changes; other files get nothing.
    const QString broken = files.path("broken.png");
    files.write("broken.png", "not an image");
    EXPECT_TRUE(cache.thumbnailFor(broken, 32).isNull());
    const QString failed =
        root + "/fail/verrabel/" + ThumbnailCache::fileNameOf(ThumbnailCache::uriOf(broken));
    EXPECT_EQ(QImage(failed).text("Thumb::MTime").toLongLong(), modifiedOf(broken));
    const qint64 brokenAt = modifiedOf(broken);
    drawImage(broken, {10, 10}, Qt::yellow);
    setModified(broken, brokenAt - 60);
    EXPECT_EQ(cache.thumbnailFor(broken, 32).pixelColor(1, 1), QColor(Qt::yellow));
    // An image too big to decode whole is left alone: not read, not marked as broken.
    // The PNG signature and a header for 20,000 × 20,000 pixels, 1.6 GB decoded.
    files.write("huge.png", QByteArray::fromHex("89504e470d0a1a0a0000000d4948445200004e20"
                                                "00004e200806000000e3704639"
                                                "00000004494441540000000000000000"));
    EXPECT_TRUE(cache.thumbnailFor(files.path("huge.png"), 32).isNull());
    EXPECT_EQ(files.names("cache/thumbnails/fail/verrabel").size(), 1);
    files.write("notes.txt", "words");
    EXPECT_TRUE(cache.thumbnailFor(files.path("notes.txt"), 32).isNull());
    EXPECT_EQ(files.names("cache/thumbnails/normal").size(), 3);
}

using RowThumbnailsTest = testing::ShelfTest;

TEST_F(RowThumbnailsTest, RowsSeenAskForThumbnailsAndRowsGoneBeforeTheirTurnCostNothing) {
    drawImage(files.path("Desktop/a.png"), {64, 64}, Qt::blue);
    files.write("Desktop/b.txt");
    shelf->refresh();
    platform.finishScans();
    auto* list = qobject_cast<FileListView*>(shelf->scroll->widget());
    ASSERT_NE(list, nullptr);
    testing::ManualQueue& thumbnails = queue("Verrabel.thumbnails");
    EXPECT_TRUE(thumbnails.items.empty()); // made, not yet seen

    // Seen, then gone with its list before its turn: nothing is read or written.
    const auto paint = [this](std::size_t index) {
        qobject_cast<FileListView*>(shelf->scroll->widget())->rowAt(index)->grab();
    };
    paint(0);
    QFile::remove(files.path("Desktop/b.txt"));
    shelf->refresh();
    platform.finishScans();
    thumbnails.runAll();
    EXPECT_FALSE(QFileInfo::exists(files.path("thumbnails/normal")));

    // The new list's row asks again; the answer is shown, and kept for the next row of the item.
    paint(0);
    thumbnails.runAll();
    QCoreApplication::processEvents();
    list = qobject_cast<FileListView*>(shelf->scroll->widget());
    auto* row = qobject_cast<FileRow*>(list->rowAt(0));
    ASSERT_FALSE(row->thumbnail().isNull());
    EXPECT_EQ(row->thumbnail().toImage().pixelColor(5, 5), QColor(Qt::blue));
    files.write("Desktop/c.txt");
    shelf->refresh();
    platform.finishScans();
    paint(0);
    EXPECT_TRUE(thumbnails.items.empty());
    list = qobject_cast<FileListView*>(shelf->scroll->widget());
    EXPECT_FALSE(qobject_cast<FileRow*>(list->rowAt(0))->thumbnail().isNull());
}

} // namespace
} // namespace verrabel
