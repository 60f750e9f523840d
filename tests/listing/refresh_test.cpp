#include "shelf/controls.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace verrabel {
namespace {

using testing::FakePlatform;
using testing::ManualQueue;

class Refresh : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_desktop.isValid());
        platform.folders.desktopPath = m_desktop.path();
        shelf = std::make_unique<ShelfController>(platform.services);
    }
    ManualQueue& scans() const { return platform.queues.queue(QStringLiteral("Verrabel.scan")); }
    /// Runs the queued scans and delivers their results to the main thread.
    void settle() { platform.finishScans(); }
    void write(const QString& name) const {
        QFile file(m_desktop.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }

    QTemporaryDir m_desktop;
    FakePlatform platform;
    std::unique_ptr<ShelfController> shelf;
};

TEST_F(Refresh, OneScanAtATimeAndNoneDrawnOrAskedForWhileExporting) {
    // Construction starts the first scan and the watcher; a call meanwhile is dropped.
    EXPECT_EQ(platform.watchers.watchedPath, m_desktop.path());
    const Date first = platform.clock.time;
    platform.clock.advance(0.5);
    shelf->refresh();
    EXPECT_EQ(scans().items.size(), 1U);
    EXPECT_EQ(shelf->lastRefresh, first);
    write(QStringLiteral("a.txt"));
    settle();
    EXPECT_EQ(shelf->count->text(), QStringLiteral("1 个项目 · 与桌面同步"));

    write(QStringLiteral("b.txt"));
    shelf->refresh();
    EXPECT_EQ(shelf->lastRefresh, platform.clock.time);
    shelf->exporting = true;
    settle();
    EXPECT_FALSE(shelf->refreshInFlight); // cleared for every result, drawn or not
    EXPECT_EQ(shelf->count->text(), QStringLiteral("1 个项目 · 与桌面同步"));
    platform.watchers.onChange();
    EXPECT_TRUE(scans().items.empty());

    shelf->exporting = false;
    platform.watchers.onChange();
    settle();
    EXPECT_EQ(shelf->count->text(), QStringLiteral("2 个项目 · 与桌面同步"));
}

} // namespace
} // namespace verrabel
