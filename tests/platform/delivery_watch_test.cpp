#include "platform/delivery_watch.h"
#include "support/files.h"

#include <sys/stat.h>

#include <atomic>
#include <future>
#include <thread>

namespace verrabel {
namespace {

using namespace std::chrono_literals;

TEST(SafeFileName, TakesOnlyOnePlainPathComponentThatFits) {
    EXPECT_EQ(safeFileName("报告.pdf"), "报告.pdf");
    EXPECT_EQ(safeFileName(QByteArray(255, 'a')), QString(255, 'a'));
    for (const QByteArray& unsafe :
         {QByteArray(), QByteArray(".."), QByteArray("../.bashrc"), QByteArray("/etc/passwd"),
          QByteArray(256, 'a'), QByteArray(100, '\xff'), QByteArray("a\0b", 3)}) {
        EXPECT_EQ(safeFileName(unsafe), "未命名文件") << unsafe.toStdString();
    }
}

class DeliveryWatch : public ::testing::Test, protected testing::Files {
protected:
    /// Waits in the background as the platform does, with short times, for a source whose
    /// answer is `answer`.
    std::future<Delivery> watch() {
        for (const QString& name : names({})) {
            QFile::remove(path(name));
        }
        return std::async(std::launch::async, [this] {
            return awaitDelivery(path(), {0.2, 1.0, 1.5, 0.3, 0.02}, std::stop_token(),
                                 [this](double seconds, const std::stop_token& /*stop*/) {
                                     std::this_thread::sleep_for(
                                         std::chrono::duration<double>(seconds));
                                     return answer.load();
                                 });
        });
    }
    /// Appends a burst to the file and closes it again, then pauses, as some sources write.
    void burst(const QByteArray& bytes, std::chrono::milliseconds pause = 0ms) const {
        QFile file(path("entry.bin"));
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write(bytes);
        file.close();
        std::this_thread::sleep_for(pause);
    }
    QByteArray contents(const Delivery& delivery) const {
        return delivery.items == QList{QUrl::fromLocalFile(path("entry.bin"))} ? read("entry.bin")
                                                                              : QByteArray();
    }

    std::atomic<SourceAnswer> answer = SourceAnswer::None;
};

TEST_F(DeliveryWatch, APauseBetweenWritesNeverDeliversHalfAFile) {
    // The source says it is done only after its last write: a pause longer than the quiet
    // time, with the file closed, is not the end.
    auto delivery = watch();
    burst("first ", 400ms);
    burst("second");
    answer = SourceAnswer::Saved;
    EXPECT_EQ(contents(delivery.get()), "first second");
    // A source that never answers gets the longer quiet time, which such pauses fit in.
    answer = SourceAnswer::None;
    delivery = watch();
    burst("one ", 400ms);
    burst("two ", 400ms);
    burst("three");
    EXPECT_EQ(delivery.wait_for(600ms), std::future_status::timeout);
    EXPECT_EQ(contents(delivery.get()), "one two three");
    // A file still open is not done, however quiet.
    answer = SourceAnswer::Saved;
    delivery = watch();
    QFile file(path("entry.bin"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    file.write("first half ");
    EXPECT_EQ(delivery.wait_for(400ms), std::future_status::timeout);
    file.write("second half");
    file.close();
    EXPECT_EQ(contents(delivery.get()), "first half second half");
}

TEST_F(DeliveryWatch, TrustsTheFolderOverTheSourceAndGivesUpOnSilence) {
    answer = SourceAnswer::Refused; // the source said it failed...
    auto delivery = watch();
    write("written anyway.txt"); // ...and wrote it all the same
    mkdir("a folder/inside");
    QFile::link("/etc/hostname", path("a link"));
    const Delivery result = delivery.get();
    EXPECT_FALSE(result.error);
    EXPECT_EQ(result.items, (QList{QUrl::fromLocalFile(path("a folder")),
                                   QUrl::fromLocalFile(path("written anyway.txt"))}));
    QDir(path("a folder")).removeRecursively();

    answer = SourceAnswer::None;
    EXPECT_EQ(watch().get().error, "来源程序在 1.5 秒内没有送来文件。");
    answer = SourceAnswer::Refused;
    EXPECT_EQ(watch().get().error, "来源程序没能提供这个文件。");
    answer = SourceAnswer::Saved;
    delivery = watch();
    ASSERT_EQ(mkfifo(native("pipe"), 0644), 0);
    const Delivery special = delivery.get();
    EXPECT_TRUE(special.items.isEmpty());
    EXPECT_EQ(special.error, "来源程序送来的不是普通文件或文件夹。");
}

} // namespace
} // namespace verrabel
