#include "platform/inotify_watchers.h"
#include "platform/thread_queue.h"
#include "platform/timerfd_timer.h"
#include "platform/xdg_folders.h"
#include "support/files.h"

#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include <sys/resource.h>

#include <array>
#include <numeric>
#include <pthread.h>
#include <unistd.h>

namespace verrabel {
namespace {

TEST(ThreadQueue, RunsItemsInOrderOnANamedThreadAtItsPriority) {
    ThreadQueue queue(QStringLiteral("Verrabel.scan"), QueuePriority::Utility);
    std::vector<int> order;
    std::array<char, 16> name{};
    int nice = 0;
    const auto mainThread = pthread_self();
    bool onMainThread = true;
    for (int i = 0; i < 50; ++i) {
        queue.submit([&order, i] { order.push_back(i); });
    }
    queue.submit([&] {
        pthread_getname_np(pthread_self(), name.data(), name.size());
        nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
        onMainThread = pthread_equal(pthread_self(), mainThread) != 0;
    });
    queue.waitUntilIdle();
    std::vector<int> expected(50);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_STREQ(name.data(), "Verrabel.scan");
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
    const testing::Files home;
    const QByteArray saved[] = {qgetenv("HOME"), qgetenv("XDG_CONFIG_HOME")};
    qputenv("HOME", home.native({}));
    qputenv("XDG_CONFIG_HOME", home.native({}));
    const auto desktopWith = [&home](const QByteArray& line) {
        home.write("user-dirs.dirs", "XDG_DESKTOP_DIR=\"$HOME/" + line + "\"\n");
        return XdgFolders().desktop();
    };
    EXPECT_EQ(desktopWith("Schreibtisch"), home.path("Schreibtisch"));
    // user-dirs' way of switching the Desktop off: it would otherwise list the whole home.
    EXPECT_EQ(desktopWith(""), QString());
    qputenv("HOME", saved[0]);
    qputenv("XDG_CONFIG_HOME", saved[1]);
}

TEST(InotifyWatchers, ReportCreateRenameDeleteAndTheFolderGoing) {
    const testing::Files parent;
    parent.mkdir("Desktop");
    int changes = 0;
    InotifyWatchers watchers;
    const auto watcher = watchers.watch(parent.path("Desktop"), [&changes] { ++changes; });
    ASSERT_NE(watcher, nullptr);
    const auto changed = [&changes](const char* what, const std::function<bool()>& action) {
        const int before = changes;
        EXPECT_TRUE(action());
        EXPECT_TRUE(QTest::qWaitFor([&] { return changes > before; }, 2000)) << what;
    };
    changed("create", [&] { return parent.write("Desktop/a.txt"), true; });
    changed("rename", [&] { return QFile::rename(parent.path("Desktop/a.txt"), parent.path("Desktop/b.txt")); });
    changed("delete", [&] { return QFile::remove(parent.path("Desktop/b.txt")); });
    changed("folder moved", [&] { return QDir().rename(parent.path("Desktop"), parent.path("Moved")); });
    EXPECT_EQ(watchers.watch(parent.path("missing"), [] {}), nullptr);
}

} // namespace
} // namespace verrabel
