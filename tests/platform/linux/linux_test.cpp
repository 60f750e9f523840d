#include "platform/linux/delivery_watch.h"
#include "platform/linux/inotify_watchers.h"
#include "platform/linux/session_lock.h"
#include "platform/linux/thread_queue.h"
#include "platform/linux/timerfd_timer.h"
#include "platform/motion_watch.h"
#include "receiving/delivery_policy.h"
#include "support/files.h"

#include <QEventLoop>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <array>
#include <atomic>
#include <csignal>
#include <future>
#include <pthread.h>
#include <spawn.h>
#include <thread>
#include <unistd.h>

namespace verrabel {
namespace {

using namespace std::chrono_literals;

TEST(ThreadQueue, RunsItemsInOrderOnANamedThreadAtItsPriority) {
    ThreadQueue queue(QStringLiteral("Verrabel.scan"), QueuePriority::Utility);
    std::vector<int> order;
    std::vector<int> expected;
    std::array<char, 16> name{};
    int nice = 0;
    for (int i = 0; i < 50; ++i) {
        queue.submit([&order, i] { order.push_back(i); });
        expected.push_back(i);
    }
    queue.submit([&] {
        pthread_getname_np(pthread_self(), name.data(), name.size());
        nice = getpriority(PRIO_PROCESS, static_cast<id_t>(gettid()));
    });
    queue.waitUntilIdle();
    EXPECT_EQ(order, expected);
    EXPECT_STREQ(name.data(), "Verrabel.scan"); // not the caller's thread, either
    EXPECT_EQ(nice, 10); // scans yield to imports, whose queue keeps the normal priority
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

TEST(TimerFdTimer, ARestingPointerThatMovesGetsAStepAtOnceAndALongRestANap) {
    struct Motion final : MotionWatch {
        std::function<void()> onMotion;
        bool awaitMotion(std::function<void()> then) override {
            onMotion = std::move(then);
            return true;
        }
        void cancel() override { onMotion = nullptr; }
    } motion;
    int fired = 0;
    // An interval far longer than the test: every step it sees comes from a move.
    TimerFdTimer timer(
        std::chrono::seconds(100), [&fired] { ++fired; }, &motion);
    timer.schedule();
    const QPointF resting(5, 5);
    timer.idleAt(resting);
    EXPECT_FALSE(motion.onMotion); // one step there is no rest yet
    timer.idleAt(resting);
    ASSERT_TRUE(motion.onMotion);
    std::exchange(motion.onMotion, nullptr)();
    EXPECT_TRUE(QTest::qWaitFor([&fired] { return fired == 1; }, 5000));
    EXPECT_EQ(timer.armedInterval(), std::chrono::seconds(100)); // and on from there

    for (int step = 0; step < 40; ++step) {
        timer.idleAt(resting);
    }
    EXPECT_TRUE(timer.isNapping());
    EXPECT_EQ(timer.armedInterval().count(), 0);
    timer.resume();
    EXPECT_FALSE(motion.onMotion || timer.isNapping());
    EXPECT_TRUE(QTest::qWaitFor([&fired] { return fired == 2; }, 5000));
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
    changed("rename", [&] {
        return QFile::rename(parent.path("Desktop/a.txt"), parent.path("Desktop/b.txt"));
    });
    changed("delete", [&] { return QFile::remove(parent.path("Desktop/b.txt")); });
    changed("folder moved",
            [&] { return QDir().rename(parent.path("Desktop"), parent.path("Moved")); });
    EXPECT_EQ(watchers.watch(parent.path("missing"), [] {}), nullptr);
}

TEST(SessionLock, OneHolderAtATimeUntilItGoes) {
    QTemporaryDir folder;
    const QString path = folder.filePath("org.example.App.lock");
    {
        const SessionLock first(path);
        EXPECT_TRUE(first.held());
        EXPECT_FALSE(SessionLock(path).held());
    }
    EXPECT_TRUE(SessionLock(path).held());
    EXPECT_FALSE(SessionLock(folder.filePath("missing/x.lock")).held());
}

TEST(SafeFileName, TakesOnlyOnePlainPathComponentThatFits) {
    EXPECT_EQ(safeFileName("报告.pdf"), "报告.pdf");
    EXPECT_EQ(safeFileName(QByteArray(255, 'a')), QString(255, 'a'));
    for (const QByteArray& unsafe :
         {QByteArray(), QByteArray(".."), QByteArray("../.bashrc"), QByteArray("/etc/passwd"),
          QByteArray(256, 'a'), QByteArray(100, '\xff'), QByteArray("a\0b", 3)}) {
        EXPECT_EQ(safeFileName(unsafe), "未命名文件") << unsafe.toStdString();
    }
}

/// A source whose answer the test gives.
class TestSource final : public DeliverySource {
public:
    TestSource() = default;
    ~TestSource() override { close(m_news); }
    TestSource(const TestSource&) = delete;
    TestSource& operator=(const TestSource&) = delete;
    [[nodiscard]] int descriptor() const override { return m_news; }
    SourceAnswer answer() override {
        eventfd_t news = 0;
        eventfd_read(m_news, &news);
        return m_said;
    }
    [[nodiscard]] pid_t process() const override { return m_process; }
    void say(SourceAnswer answer, pid_t process = 0) {
        m_process = process;
        m_said = answer;
        eventfd_write(m_news, 1);
    }

private:
    std::atomic<pid_t> m_process = 0;
    int m_news = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    std::atomic<SourceAnswer> m_said = SourceAnswer::None;
};

/// The watch with the real folder and processes. No check races a sleep against a time: each
/// case is told apart by what is delivered, and limits that are not its subject are long.
class DeliveryWatch : public ::testing::Test, protected testing::Files {
protected:
    static constexpr DeliveryTimes kLong{0.2, 30, 30, 60, 30, 0.2};

    /// Empties the folder for the next case.
    void fresh() const {
        for (const QString& name : names({})) {
            QDir(path(name)).removeRecursively();
            QFile::remove(path(name));
        }
    }
    std::future<Delivery> watch(DeliveryTimes times = kLong) {
        return std::async(std::launch::async, [this, times] {
            DeliveryPolicy rules(times);
            return awaitDelivery(path(), rules, std::stop_token(), source);
        });
    }
    /// The delivery, or a failure after far longer than it needs.
    static Delivery result(std::future<Delivery>& delivery) {
        EXPECT_EQ(delivery.wait_for(20s), std::future_status::ready);
        return delivery.get();
    }
    QList<QUrl> urls(const QStringList& items) const {
        QList<QUrl> all;
        for (const QString& item : items) {
            all.append(QUrl::fromLocalFile(path(item)));
        }
        return all;
    }
    /// Runs the shell command in the folder, as a child of ours; its PID. Spawned, not forked:
    /// ThreadSanitizer gives up on a process that forks with threads running.
    static pid_t shell(const QString& folder, const QString& command) {
        const QByteArray where = QFile::encodeName(folder);
        const QByteArray script = command.toUtf8();
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addchdir_np(&actions, where.constData());
        std::array<char*, 4> argv{const_cast<char*>("sh"), const_cast<char*>("-c"),
                                  const_cast<char*>(script.constData()), nullptr};
        pid_t child = 0;
        EXPECT_EQ(posix_spawnp(&child, "sh", &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        return child;
    }

    TestSource source;
};

TEST_F(DeliveryWatch, WaitsForWhatWorksInTheFolderAndDeliversOnlyTheFinalFiles) {
    // A source that reserves its name, writes beside it and renames over it, slowly: only the
    // whole file is delivered, though the reserved one was closed and settled long before.
    source.say(SourceAnswer::Saved);
    fresh();
    const pid_t writer = shell(path(), "exec 3>entry.bin.part; : >entry.bin; printf 'first ' >&3; "
                                       "sleep 1; printf 'whole' >&3; exec 3>&-; "
                                       "mv entry.bin.part entry.bin");
    auto delivery = watch();
    EXPECT_EQ(result(delivery).items, urls({"entry.bin"}));
    EXPECT_EQ(read("entry.bin"), "first whole");
    waitpid(writer, nullptr, 0);

    // An extractor (its working directory there) that ends; our own open file holds nothing.
    fresh();
    QFile ours(path("ours.txt"));
    ASSERT_TRUE(ours.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    ours.write("ours");
    const pid_t extractor = shell(path(), "sleep 0.5; echo late >last.txt");
    delivery = watch();
    EXPECT_EQ(result(delivery).items, urls({"last.txt", "ours.txt"}));
    waitpid(extractor, nullptr, 0);
    ours.close();

    // A helper of the source's that writes from elsewhere: done once it has ended, without the
    // long quiet.
    source.say(SourceAnswer::Saved, getpid());
    fresh();
    waitpid(shell("/", QString("echo a >'%1'").arg(path("first.txt"))), nullptr, 0);
    delivery = watch();
    EXPECT_EQ(result(delivery).items, urls({"first.txt"}));
    // One that never touches the folder holds nothing: the file comes after the quiet of a
    // source that said it saved first, not the long one.
    fresh();
    const pid_t bystander = shell("/", "exec sleep 30");
    write("first.txt");
    delivery = watch({0.2, 30, 30, 3, 30, 0.2, 1});
    const Delivery alongside = result(delivery);
    EXPECT_EQ(alongside.items, urls({"first.txt"}));
    EXPECT_FALSE(alongside.error);
    kill(bystander, SIGTERM);
    waitpid(bystander, nullptr, 0);
}

TEST_F(DeliveryWatch, PublishesNothingOfAFailedSourceAndGivesUpOnSilence) {
    const DeliveryTimes kShort{0.2, 1.0, 1.5, 3.0, 0.3, 0.2};
    source.say(SourceAnswer::Refused); // the source said it failed...
    fresh();
    write("written anyway.txt"); // ...after writing part of it
    mkdir("a folder/inside");
    QFile::link("/etc/hostname", path("a link"));
    auto delivery = watch(kShort);
    const Delivery written = result(delivery);
    EXPECT_TRUE(written.items.isEmpty());
    EXPECT_EQ(written.error, "来源程序没能提供这个文件。");
    EXPECT_EQ(written.failed, (QStringList{"a folder", "written anyway.txt"}));

    fresh();
    source.say(SourceAnswer::None);
    delivery = watch(kShort);
    EXPECT_EQ(result(delivery).error, "来源程序在 1.5 秒内没有送来文件。");
    source.say(SourceAnswer::Refused);
    delivery = watch(kShort);
    EXPECT_EQ(result(delivery).error, "来源程序没能提供这个文件。");
    source.say(SourceAnswer::Saved);
    ASSERT_EQ(mkfifo(native("pipe"), 0644), 0);
    delivery = watch(kShort);
    const Delivery special = result(delivery);
    EXPECT_TRUE(special.items.isEmpty());
    EXPECT_EQ(special.error, "来源程序送来的不是普通文件或文件夹。");
}

} // namespace
} // namespace verrabel
