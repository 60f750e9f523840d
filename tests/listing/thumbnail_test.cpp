#include "listing/file_list_view.h"
#include "listing/file_row.h"
#include "listing/thumbnail_cache.h"
#include "listing/thumbnail_decoding.h"
#include "support/fake_platform.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QFileInfo>
#include <QImageReader>
#include <QImageWriter>
#include <QScrollArea>
#include <QShowEvent>

#include <sys/stat.h>

#include <unistd.h>
#include <utime.h>
#include <zlib.h>

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

QByteArray gzipped(const QByteArray& bytes) {
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, 16 + MAX_WBITS, 9, Z_DEFAULT_STRATEGY), Z_OK);
    QByteArray out(static_cast<qsizetype>(deflateBound(&stream, bytes.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.constData()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.truncate(static_cast<qsizetype>(stream.total_out));
    deflateEnd(&stream);
    return out;
}

QByteArray encoded(const QImage& image, const char* format) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    EXPECT_TRUE(image.save(&buffer, format));
    return bytes;
}

TEST(ThumbnailDecoding, HostileFilesNeverBlockAndNoImageDecodesPastItsLimits) {
    Files files;
    // A FIFO is never opened for reading, named or behind a link; a link only where followed.
    ASSERT_EQ(mkfifo(files.native("pipe.png").constData(), 0600), 0);
    ASSERT_EQ(symlink(files.native("pipe.png").constData(), files.native("to-pipe.png")), 0);
    files.write("real.png", "12345");
    ASSERT_EQ(symlink(files.native("real.png").constData(), files.native("to-real.png")), 0);
    EXPECT_FALSE(readRegularFile(files.path("pipe.png"), 100, true));
    EXPECT_FALSE(readRegularFile(files.path("to-pipe.png"), 100, true));
    EXPECT_FALSE(readRegularFile(files.path("to-real.png"), 100, false));
    EXPECT_EQ(readRegularFile(files.path("to-real.png"), 100, true), QByteArray("12345"));
    EXPECT_FALSE(readRegularFile(files.path("real.png"), 4, true));

    // The cache's FIFO where the thumbnail or the failure mark would be: a thumbnail is made.
    const QString root = files.path("cache");
    const QString photo = files.path("photo.png");
    drawImage(photo, {20, 20}, Qt::blue);
    const QString name = ThumbnailCache::fileNameOf(ThumbnailCache::uriOf(photo));
    QDir().mkpath(root + "/normal");
    QDir().mkpath(root + "/fail/verrabel");
    ASSERT_EQ(mkfifo(QFile::encodeName(root + "/normal/" + name).constData(), 0600), 0);
    ASSERT_EQ(mkfifo(QFile::encodeName(root + "/fail/verrabel/" + name).constData(), 0600), 0);
    EXPECT_EQ(ThumbnailCache(root).thumbnailFor(photo, 32).pixelColor(1, 1), QColor(Qt::blue));

    const DecodingLimits limits{1 << 20, 4096, 64 * 64 * 4};
    const QByteArray drawing = "<svg xmlns='http://www.w3.org/2000/svg' width='10' height='10'>"
                               "<rect width='10' height='10' fill='#00ff00'/></svg>";
    const QByteArray padded = QByteArray(drawing).insert(drawing.size() - 6, QByteArray(8192, ' '));
    // A compressed drawing counts by its inflated size, whatever its name; within it, it draws.
    EXPECT_EQ(decodeImage(gzipped(drawing), "svg", 32, limits).image.pixelColor(5, 5),
              QColor(Qt::green));
    for (const char* format : {"svg", "png"}) {
        const Decoded inflated = decodeImage(gzipped(padded), format, 32, limits);
        EXPECT_TRUE(inflated.image.isNull() && !inflated.broken) << format;
        // A drawing named as a photo counts as a drawing.
        EXPECT_TRUE(decodeImage(padded, format, 32, limits).image.isNull()) << format;
    }
    EXPECT_TRUE(decodeImage(gzipped(gzipped(drawing)), "svg", 32, limits).image.isNull());

    // Pixels: an image that would decode past the limit is not decoded, WebP too; not broken.
    QImage square(64, 64, QImage::Format_RGB32);
    square.fill(Qt::red);
    const QImage wider = square.copy(0, 0, 65, 64);
    QStringList formats{"png", "bmp"};
    if (QImageReader::supportedImageFormats().contains("webp")) {
        formats << "webp";
    }
    for (const QString& format : formats) {
        const QByteArray kind = format.toLatin1();
        EXPECT_FALSE(decodeImage(encoded(square, kind), kind, 32, limits).image.isNull())
            << format.toStdString();
        const Decoded tooLarge = decodeImage(encoded(wider, kind), kind, 32, limits);
        EXPECT_TRUE(tooLarge.image.isNull() && !tooLarge.broken) << format.toStdString();
    }

    // A sequential JPEG decodes scaled while it is read; a progressive one holds every pixel.
    QImage green(200, 200, QImage::Format_RGB32);
    green.fill(Qt::green);
    const DecodingLimits photoLimits{1 << 20, 0, 200 * 200 / 4};
    for (const bool progressive : {false, true}) {
        QByteArray jpeg;
        QBuffer buffer(&jpeg);
        buffer.open(QIODevice::WriteOnly);
        QImageWriter writer(&buffer, "jpeg");
        writer.setProgressiveScanWrite(progressive);
        ASSERT_TRUE(writer.write(green));
        const Decoded decoded = decodeImage(jpeg, "jpg", 32, photoLimits);
        EXPECT_EQ(decoded.image.isNull(), progressive);
        EXPECT_FALSE(decoded.broken);
    }

    // A 1-bit palette PNG, as ImageMagick writes flat images, keeps its colours scaled down.
    QImage flat(300, 300, QImage::Format_Mono);
    flat.setColorTable({QColor(Qt::red).rgb(), QColor(Qt::blue).rgb()});
    flat.fill(0);
    for (int y = 0; y < 150; ++y) {
        for (int x = 0; x < 150; ++x) {
            flat.setPixel(x, y, 1);
        }
    }
    const QImage shown = decodeImage(encoded(flat, "png"), "png", 32, {1 << 20, 0, 1 << 20}).image;
    EXPECT_EQ(shown.pixelColor(24, 24), QColor(Qt::red));
    EXPECT_EQ(shown.pixelColor(4, 4), QColor(Qt::blue));
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

    // An item without one gets the one a file manager makes later, once its row shows again.
    auto* text = qobject_cast<FileRow*>(list->rowAt(1));
    paint(1);
    thumbnails.runAll();
    QCoreApplication::processEvents();
    ASSERT_TRUE(text->thumbnail().isNull());
    const QString item = files.path("Desktop/c.txt");
    storeThumbnail(files.path("thumbnails/normal/") +
                       ThumbnailCache::fileNameOf(ThumbnailCache::uriOf(item)),
                   item, modifiedOf(item), Qt::red);
    QShowEvent shownAgain;
    QCoreApplication::sendEvent(text, &shownAgain);
    paint(1);
    thumbnails.runAll();
    QCoreApplication::processEvents();
    EXPECT_EQ(text->thumbnail().toImage().pixelColor(5, 5), QColor(Qt::red));
}

} // namespace
} // namespace verrabel
