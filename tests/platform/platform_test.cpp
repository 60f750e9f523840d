#include "platform/coordinates.h"
#include "platform/inotify_watchers.h"
#include "platform/theme_file_icons.h"
#include "platform/thread_queue.h"
#include "platform/timerfd_timer.h"
#include "platform/xdg_folders.h"

#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <array>
#include <numeric>
#include <pthread.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace verrabel {
namespace {

TEST(Coordinates, ReflectAroundThePrimaryScreensBottomEdge) {
    // Qt's origin is the top-left of the virtual desktop; ours the primary's bottom-left.
    const QRect primary(200, 100, 1600, 1000);
    EXPECT_EQ(coordinates::fromQt(QPointF(200, 1100), primary), QPointF(0, 0));
    EXPECT_EQ(coordinates::fromQt(QPointF(200, 100), primary), QPointF(0, 1000));
    // A screen stacked above the primary one lies above 1000, one to its left at negative x.
    EXPECT_EQ(coordinates::fromQt(QRectF(0, -900, 200, 1000), primary),
              QRectF(-200, 1000, 200, 1000));

    const QRectF panel(590, 610, 420, 350);
    EXPECT_EQ(coordinates::toQt(panel, QRect(0, 0, 1600, 1000)), QRectF(590, 40, 420, 350));
    EXPECT_EQ(coordinates::fromQt(coordinates::toQt(panel, primary), primary), panel);
}

TEST(ThreadQueue, RunsItemsInOrderOnANamedThreadAtItsPriority) {
    ThreadQueue queue(QStringLiteral("Verrabel.scan"), QueuePriority::Utility);
    std::vector<int> order;
    std::string name;
    int nice = 0;
    bool onMainThread = true;
    const auto mainThread = pthread_self();
    for (int i = 0; i < 50; ++i) {
        queue.submit([&order, i] { order.push_back(i); });
    }
    queue.submit([&] {
        std::array<char, 16> buffer{};
        pthread_getname_np(pthread_self(), buffer.data(), buffer.size());
        name = buffer.data();
        nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
        onMainThread = pthread_equal(pthread_self(), mainThread) != 0;
    });
    queue.waitUntilIdle();

    std::vector<int> expected(50);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_EQ(name, "Verrabel.scan");
    EXPECT_EQ(nice, 10); // scans yield to imports, whose queue keeps the normal priority
    EXPECT_FALSE(onMainThread);
}

TEST(TimerFdTimer, HoldsTheExactIntervalAndFiresInsideNestedEventLoops) {
    int fired = 0;
    TimerFdTimerFactory factory;
    auto timer = factory.makeRepeatingTimer(1.0 / 60.0, [&fired] { ++fired; });
    auto& timerfd = dynamic_cast<TimerFdTimer&>(*timer);
    EXPECT_EQ(timerfd.armedInterval().count(), 0); // created unscheduled

    timer->schedule();
    EXPECT_EQ(timerfd.armedInterval().count(), 16'666'667);

    // A menu or a drag runs a loop of its own; the timer must keep firing in it.
    QEventLoop nested;
    QTimer::singleShot(200, &nested, &QEventLoop::quit);
    nested.exec();
    EXPECT_GT(fired, 0);
}

class XdgFoldersTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_home.isValid());
        m_savedHome = qgetenv("HOME");
        m_savedConfig = qgetenv("XDG_CONFIG_HOME");
        qputenv("HOME", QFile::encodeName(m_home.path()));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_home.filePath(QStringLiteral("config"))));
        QDir(m_home.path()).mkpath(QStringLiteral("config"));
    }
    void TearDown() override {
        qputenv("HOME", m_savedHome);
        qputenv("XDG_CONFIG_HOME", m_savedConfig);
    }
    void writeUserDirs(const QByteArray& desktopLine) const {
        QFile file(m_home.filePath(QStringLiteral("config/user-dirs.dirs")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(desktopLine + '\n');
    }

    QTemporaryDir m_home;
    QByteArray m_savedHome;
    QByteArray m_savedConfig;
};

TEST_F(XdgFoldersTest, ADesktopThatIsTheHomeFolderCountsAsNone) {
    const XdgFolders folders;
    writeUserDirs(R"(XDG_DESKTOP_DIR="$HOME/Schreibtisch")");
    EXPECT_EQ(folders.desktop(), m_home.filePath(QStringLiteral("Schreibtisch")));

    // user-dirs' way of switching the Desktop off: it would otherwise list the whole home.
    writeUserDirs(R"(XDG_DESKTOP_DIR="$HOME/")");
    EXPECT_EQ(folders.desktop(), QString());
}

TEST(InotifyWatchers, ReportCreateRenameDeleteAndTheFolderGoing) {
    QTemporaryDir parent;
    ASSERT_TRUE(parent.isValid());
    const QString folder = parent.filePath(QStringLiteral("Desktop"));
    ASSERT_TRUE(QDir().mkpath(folder));
    int changes = 0;
    InotifyWatchers watchers;
    const auto watcher = watchers.watch(folder, [&changes] { ++changes; });
    ASSERT_NE(watcher, nullptr);

    const auto expectChange = [&changes](const std::function<void()>& action, const char* what) {
        SCOPED_TRACE(what);
        const int before = changes;
        action();
        QEventLoop loop;
        QTimer poll;
        QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
            if (changes > before) {
                loop.quit();
            }
        });
        poll.start(5);
        QTimer::singleShot(2000, &loop, &QEventLoop::quit);
        loop.exec();
        EXPECT_GT(changes, before);
    };
    const QString file = folder + QStringLiteral("/a.txt");
    expectChange([&] { QFile(file).open(QIODevice::WriteOnly); }, "create");
    expectChange([&] { QFile::rename(file, folder + QStringLiteral("/b.txt")); }, "rename");
    expectChange([&] { QFile::remove(folder + QStringLiteral("/b.txt")); }, "delete");
    expectChange([&] { QDir().rename(folder, parent.filePath(QStringLiteral("Moved"))); },
                 "folder moved");

    EXPECT_EQ(watchers.watch(parent.filePath(QStringLiteral("missing")), [] {}), nullptr);
}

TEST(ThemeFileIcons, LooksEachMimeTypeUpOnce) {
    ThemeFileIcons icons;
    const QIcon first = icons.iconFor(QStringLiteral("a.txt"), FileKind::File);
    EXPECT_FALSE(first.isNull());
    EXPECT_EQ(icons.iconFor(QStringLiteral("notes.TXT"), FileKind::File).cacheKey(),
              first.cacheKey());
    EXPECT_NE(icons.iconFor(QStringLiteral("a.txt"), FileKind::Directory).cacheKey(),
              first.cacheKey());
    EXPECT_FALSE(icons.iconFor(QStringLiteral("pipe"), FileKind::Special).isNull());
}

} // namespace
} // namespace verrabel
