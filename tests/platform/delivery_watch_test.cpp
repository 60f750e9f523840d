#include "platform/delivery_watch.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <atomic>
#include <future>
#include <thread>

namespace verrabel {
namespace {

TEST(SafeFileName, TakesOnlyOnePlainPathComponentThatFits) {
    EXPECT_EQ(safeFileName("报告.pdf"), "报告.pdf");
    EXPECT_EQ(safeFileName(QByteArray(255, 'a')), QString(255, 'a'));
    for (const QByteArray& unsafe :
         {QByteArray(), QByteArray(".."), QByteArray("../.bashrc"), QByteArray("/etc/passwd"),
          QByteArray(256, 'a'), QByteArray(100, '\xff'), QByteArray("a\0b", 3)}) {
        EXPECT_EQ(safeFileName(unsafe), "未命名文件") << unsafe.toStdString();
    }
}

class DeliveryWatch : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_folder.isValid()); }
    /// Waits in the background as the platform does, with short times, for a source whose
    /// answer is `answer`.
    std::future<Delivery> watch() {
        return std::async(std::launch::async, [this] {
            const DeliveryTimes times{0.2, 1.0, 1.5, 0.3, 0.02};
            return awaitDelivery(m_folder.path(), times, std::stop_token(),
                                 [this](double seconds, const std::stop_token& /*stop*/) {
                                     std::this_thread::sleep_for(
                                         std::chrono::duration<double>(seconds));
                                     return answer.load();
                                 });
        });
    }
    QString path(const QString& name) const { return m_folder.filePath(name); }
    /// Appends a burst to the file and closes it again, as some sources write.
    void burst(const QString& name, const QByteArray& bytes) const {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write(bytes);
    }
    static void pause(int milliseconds) {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
    static QByteArray contents(const Delivery& delivery) {
        if (delivery.items.size() != 1) {
            return {};
        }
        QFile file(delivery.items.constFirst().toLocalFile());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir m_folder;
    std::atomic<SourceAnswer> answer = SourceAnswer::None;
};

TEST_F(DeliveryWatch, APauseBetweenWritesNeverDeliversHalfAFile) {
    // The source says it is done only after its last write: a pause longer than the quiet
    // time, with the file closed, is not the end.
    auto delivery = watch();
    burst("entry.bin", "first ");
    pause(400);
    burst("entry.bin", "second");
    answer = SourceAnswer::Saved;
    EXPECT_EQ(contents(delivery.get()), "first second");

    // A source that never answers gets the longer quiet time, which such pauses fit in.
    answer = SourceAnswer::None;
    QFile::remove(path("entry.bin"));
    delivery = watch();
    burst("entry.bin", "one ");
    pause(400);
    burst("entry.bin", "two ");
    pause(400);
    burst("entry.bin", "three");
    EXPECT_EQ(delivery.wait_for(std::chrono::milliseconds(600)), std::future_status::timeout);
    EXPECT_EQ(contents(delivery.get()), "one two three");

    // A file still open is not done, however quiet.
    answer = SourceAnswer::Saved;
    QFile::remove(path("entry.bin"));
    delivery = watch();
    QFile file(path("entry.bin"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    file.write("first half ");
    EXPECT_EQ(delivery.wait_for(std::chrono::milliseconds(400)), std::future_status::timeout);
    file.write("second half");
    file.close();
    EXPECT_EQ(contents(delivery.get()), "first half second half");
}

TEST_F(DeliveryWatch, TrustsTheFolderOverTheSourcesAnswer) {
    answer = SourceAnswer::Refused; // the source said it failed...
    auto delivery = watch();
    QFile(path("written anyway.txt")).open(QIODevice::WriteOnly); // ...and wrote it all the same
    QDir().mkpath(path("a folder/inside"));
    QFile::link("/etc/hostname", path("a link"));
    const Delivery result = delivery.get();
    EXPECT_FALSE(result.error);
    EXPECT_EQ(result.items, (QList{QUrl::fromLocalFile(path("a folder")),
                                   QUrl::fromLocalFile(path("written anyway.txt"))}));
}

TEST_F(DeliveryWatch, GivesUpOnASourceThatWritesNothing) {
    EXPECT_EQ(watch().get().error, "来源程序在 1.5 秒内没有送来文件。");
    answer = SourceAnswer::Refused;
    EXPECT_EQ(watch().get().error, "来源程序没能提供这个文件。");

    answer = SourceAnswer::Saved;
    ASSERT_EQ(mkfifo(QFile::encodeName(path("pipe")).constData(), 0644), 0);
    const Delivery special = watch().get();
    EXPECT_TRUE(special.items.isEmpty());
    EXPECT_EQ(special.error, "来源程序送来的不是普通文件或文件夹。");
}

} // namespace
} // namespace verrabel
