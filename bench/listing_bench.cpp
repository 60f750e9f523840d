// The Desktop listing's costs: a scan of 10,000 items beside `ls -l` of the same folder, the
// main thread's share of a rescan that changed nothing, the first open of the list at several
// sizes and a rebuild, with the icons from the real icon theme.

#include "listing/desktop_scan.h"
#include "platform/desktop/theme_file_icons.h"
#include "shelf/shelf_controller.h"
#include "support/fake_platform.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <sys/wait.h>

#include <algorithm>
#include <fcntl.h>
#include <spawn.h>

namespace verrabel {
namespace {

const char* const kExtensions[] = {".pdf", ".txt", ".png", ".docx", ".tar.gz", ".mp3", ""};

/// A throw-away folder in memory where there is one: the machines we build on discard the
/// blocks of every file deleted from disk, which turns making and removing 100,000 files into
/// minutes.
QTemporaryDir inMemory() {
    return QTemporaryDir(QDir(QStringLiteral("/dev/shm")).exists()
                             ? QStringLiteral("/dev/shm/verrabel-bench-XXXXXX")
                             : QDir::tempPath() + QStringLiteral("/verrabel-bench-XXXXXX"));
}

/// A folder of `count` files with assorted names and extensions.
QString makeFolder(QTemporaryDir& dir, int count) {
    for (int i = 0; i < count; ++i) {
        const QString name =
            QStringLiteral("文件 %1%2").arg(i).arg(QString::fromLatin1(kExtensions[i % 7]));
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::WriteOnly)) {
            file.write(QByteArray(i % 100, 'x'));
        }
    }
    return dir.path();
}

void scan10000(benchmark::State& state) {
    QTemporaryDir dir = inMemory();
    const QString folder = makeFolder(dir, 10'000);
    benchmark::DoNotOptimize(scanDesktop(folder)); // warm the cache
    for (auto _ : state) {
        benchmark::DoNotOptimize(scanDesktop(folder));
    }
}
BENCHMARK(scan10000)->Unit(benchmark::kMillisecond);

void lsLong10000(benchmark::State& state) {
    QTemporaryDir dir = inMemory();
    const QByteArray folder = QFile::encodeName(makeFolder(dir, 10'000));
    char ls[] = "ls";
    char longFormat[] = "-l";
    char* argv[] = {ls, longFormat, const_cast<char*>(folder.constData()), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    for (auto _ : state) {
        pid_t child = 0;
        posix_spawnp(&child, "ls", &actions, nullptr, argv, environ);
        int status = 0;
        waitpid(child, &status, 0);
    }
    posix_spawn_file_actions_destroy(&actions);
}
BENCHMARK(lsLong10000)->Unit(benchmark::kMillisecond);

/// A controller over a real folder, with the real icon theme and scans run by hand.
class Listing {
public:
    explicit Listing(int items)
        : m_folder(makeFolder(m_dir, items)) {
        m_fakes.folders.desktopPath = m_folder;
        reopen();
    }
    /// A new shelf over the same folder, as when Verrabel starts.
    void reopen() {
        m_shelf.reset();
        m_shelf = std::make_unique<ShelfController>(m_services);
    }
    /// Runs the scan off the clock; what is left is the main thread's part.
    void scanInBackground() {
        m_shelf->refresh();
        m_fakes.queue(QStringLiteral("Verrabel.scan")).runAll();
    }
    void touchAFile() const {
        QFile file(m_folder + QStringLiteral("/文件 0.pdf"));
        if (file.open(QIODevice::Append)) {
            file.write("x");
        }
    }

private:
    QTemporaryDir m_dir = inMemory();
    QString m_folder;
    testing::FakePlatform m_fakes;
    ThemeFileIcons m_icons;
    Platform m_services{m_fakes.folders,  m_fakes.screens,    m_fakes.pointer,  m_fakes.compositor,
                        m_fakes.floating, m_fakes.fullscreen, m_fakes.clock,    m_fakes.workspace,
                        m_fakes.alerts,   m_fakes.queues,     m_fakes.timers,   m_fakes.watchers,
                        m_icons,          m_fakes.drags,      m_fakes.promises, m_fakes.transfers,
                        m_fakes.activity, m_fakes.settings,   m_fakes.statusBar};
    std::unique_ptr<ShelfController> m_shelf;
};

/// Times only the main thread's part of each rescan; the scan itself runs off the clock.
template <typename Prepare>
void mainThreadPart(benchmark::State& state, Listing& listing, Prepare prepare) {
    for (auto _ : state) {
        prepare();
        listing.scanInBackground();
        QElapsedTimer timer;
        timer.start();
        QCoreApplication::processEvents();
        state.SetIterationTime(static_cast<double>(timer.nsecsElapsed()) / 1e9);
    }
}

void unchangedRescan1000MainThread(benchmark::State& state) {
    Listing listing(1000);
    listing.scanInBackground();
    QCoreApplication::processEvents(); // the first render builds the rows
    mainThreadPart(state, listing, [] {});
}
// Each iteration scans the folder off the clock: a few hundred of them tell enough.
BENCHMARK(unchangedRescan1000MainThread)
    ->UseManualTime()
    ->Iterations(300)
    ->Unit(benchmark::kMicrosecond);

/// The 95th percentile of single timings.
double p95(const std::vector<double>& times) {
    std::vector<double> sorted = times;
    std::sort(sorted.begin(), sorted.end());
    return sorted[(sorted.size() * 95 + 99) / 100 - 1];
}

/// One timing a repetition, reported with their 95th percentile.
void singleTimings(benchmark::internal::Benchmark* timed) {
    timed->UseManualTime()
        ->Iterations(1)
        ->Repetitions(20)
        ->ComputeStatistics("p95", p95)
        ->ReportAggregatesOnly()
        ->Unit(benchmark::kMillisecond);
}

/// The main thread's part of the first open of a new shelf over a Desktop of that many items;
/// before rows were made only for what can be seen, 100,000 took 54 ms.
void firstOpen(benchmark::State& state) {
    Listing listing(static_cast<int>(state.range(0)));
    mainThreadPart(state, listing, [&listing] { listing.reopen(); });
}
BENCHMARK(firstOpen)->Arg(0)->Arg(1'000)->Arg(10'000)->Arg(100'000)->Apply(singleTimings);

/// A rebuild after a change, the main thread's part.
void rebuild(benchmark::State& state) {
    Listing listing(static_cast<int>(state.range(0)));
    listing.scanInBackground();
    QCoreApplication::processEvents();
    mainThreadPart(state, listing, [&listing] { listing.touchAFile(); });
}
BENCHMARK(rebuild)->Arg(100'000)->Apply(singleTimings);

} // namespace
} // namespace verrabel
