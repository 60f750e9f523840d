#include "platform/delivery_watch.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <future>

namespace verrabel {
namespace {

TEST(SafeFileName, TakesOnlyOnePlainPathComponent) {
    EXPECT_EQ(safeFileName("photo.jpg"), "photo.jpg");
    EXPECT_EQ(safeFileName("报告.pdf"), "报告.pdf");
    EXPECT_EQ(safeFileName(QByteArray(255, 'a')), QString(255, 'a'));
    const QString replaced = "未命名文件";
    for (const QByteArray& unsafe :
         {QByteArray(), QByteArray("."), QByteArray(".."), QByteArray("../../.bashrc"),
          QByteArray("/etc/passwd"), QByteArray("a/b"), QByteArray(256, 'a'),
          QByteArray("a\0b", 3)}) {
        EXPECT_EQ(safeFileName(unsafe), replaced) << unsafe.toStdString();
    }
}

class DeliveryWatch : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_folder.isValid()); }
    /// Waits in the background as the platform does, with short times.
    std::future<Delivery> watch(bool refused = false) {
        const DeliveryTimes times{0.2, 0.5, 0.3, 0.02};
        return std::async(std::launch::async, [this, refused, times] {
            return awaitDelivery(m_folder.path(), refused, times, std::stop_token());
        });
    }
    QString path(const QString& name) const { return m_folder.filePath(name); }

    QTemporaryDir m_folder;
};

TEST_F(DeliveryWatch, WaitsUntilTheSourceHasClosedWhatItWrites) {
    auto delivery = watch();
    QFile file(path("entry.bin"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    file.write("first half ");
    // Longer than the quiet time, but the file is still open: not yet delivered.
    EXPECT_EQ(delivery.wait_for(std::chrono::milliseconds(400)), std::future_status::timeout);
    file.write("second half");
    file.close();

    const Delivery result = delivery.get();
    EXPECT_FALSE(result.error);
    ASSERT_EQ(result.items, QList{QUrl::fromLocalFile(path("entry.bin"))});
    QFile written(result.items.constFirst().toLocalFile());
    ASSERT_TRUE(written.open(QIODevice::ReadOnly));
    EXPECT_EQ(written.readAll(), "first half second half");
}

TEST_F(DeliveryWatch, TrustsTheFolderOverTheSourcesAnswer) {
    auto delivery = watch(true);                                  // the source said it failed...
    QFile(path("written anyway.txt")).open(QIODevice::WriteOnly); // ...and wrote it all the same
    QDir().mkpath(path("a folder/inside"));
    QFile::link("/etc/hostname", path("a link"));
    const Delivery result = delivery.get();
    EXPECT_FALSE(result.error);
    EXPECT_EQ(result.items, (QList{QUrl::fromLocalFile(path("a folder")),
                                   QUrl::fromLocalFile(path("written anyway.txt"))}));
}

TEST_F(DeliveryWatch, GivesUpOnASourceThatWritesNothing) {
    EXPECT_EQ(watch().get().error, "来源程序在 0.5 秒内没有送来文件。");
    EXPECT_EQ(watch(true).get().error, "来源程序没能提供这个文件。");

    ASSERT_EQ(mkfifo(QFile::encodeName(path("pipe")).constData(), 0644), 0);
    const Delivery special = watch().get();
    EXPECT_TRUE(special.items.isEmpty());
    EXPECT_EQ(special.error, "来源程序送来的不是普通文件或文件夹。");
}

} // namespace
} // namespace verrabel
