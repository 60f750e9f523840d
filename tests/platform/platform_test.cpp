#include "platform/inotify_watchers.h"
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

TEST(XdgFolders, ADesktopThatIsTheHomeFolderCountsAsNone) {
    const QTemporaryDir home;
    const QByteArray savedHome = qgetenv("HOME");
    const QByteArray savedConfig = qgetenv("XDG_CONFIG_HOME");
    qputenv("HOME", QFile::encodeName(home.path()));
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.path()));
    const auto desktopWith = [&home](const QByteArray& line) {
        QFile file(home.filePath(QStringLiteral("user-dirs.dirs")));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("XDG_DESKTOP_DIR=\"$HOME/" + line + "\"\n");
        file.close();
        return XdgFolders().desktop();
    };
    EXPECT_EQ(desktopWith("Schreibtisch"), home.filePath(QStringLiteral("Schreibtisch")));
    // user-dirs' way of switching the Desktop off: it would otherwise list the whole home.
    EXPECT_EQ(desktopWith(""), QString());
    qputenv("HOME", savedHome);
    qputenv("XDG_CONFIG_HOME", savedConfig);
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

} // namespace
} // namespace verrabel
