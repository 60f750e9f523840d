#include "delivery_watch.h"

#include "platform/file_urls.h"

#include <QFile>
#include <QHash>

#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <optional>
#include <poll.h>
#include <set>
#include <unistd.h>
#include <vector>

namespace verrabel {

namespace {

using Clock = std::chrono::steady_clock;

// What writing does; not reading, which the watch itself does to the folder.
constexpr std::uint32_t kChanges =
    IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE;

Clock::duration seconds(double value) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(value));
}

QByteArray realPath(const QString& folder) {
    std::array<char, PATH_MAX> real{};
    return realpath(QFile::encodeName(folder).constData(), real.data()) != nullptr
               ? QByteArray(real.data())
               : QFile::encodeName(folder);
}

/// Changes anywhere below a folder, through inotify: the folder and each folder made in it.
class FolderChanges {
public:
    explicit FolderChanges(const QByteArray& folder)
        : m_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        if (m_fd < 0 || !addTree(folder)) {
            m_failure = errno;
        }
    }
    ~FolderChanges() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    FolderChanges(const FolderChanges&) = delete;
    FolderChanges& operator=(const FolderChanges&) = delete;

    [[nodiscard]] int descriptor() const { return m_fd; }
    /// Why the folder cannot be watched (the user's inotify limits, say); 0 when it can.
    [[nodiscard]] int failure() const { return m_failure; }

    /// Reads what happened; whether anything did.
    bool drain() {
        alignas(inotify_event) std::array<char, std::size_t{16} * 1024> buffer{};
        bool changed = false;
        ssize_t length = 0;
        while ((length = read(m_fd, buffer.data(), buffer.size())) > 0) {
            changed = true;
            for (ssize_t at = 0; at < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
                if ((event->mask & IN_Q_OVERFLOW) != 0) {
                    // Folders made meanwhile went unseen: look at everything again.
                    for (const auto& [watch, path] : std::map(m_paths)) {
                        addTree(path);
                    }
                } else if ((event->mask & IN_ISDIR) != 0 &&
                           (event->mask & (IN_CREATE | IN_MOVED_TO)) != 0 &&
                           m_paths.contains(event->wd)) {
                    addTree(m_paths.at(event->wd) + '/' + event->name);
                }
            }
        }
        return changed;
    }

private:
    bool addTree(const QByteArray& path) {
        const int watch =
            inotify_add_watch(m_fd, path.constData(), kChanges | IN_ONLYDIR | IN_DONT_FOLLOW);
        if (watch < 0) {
            return false;
        }
        m_paths[watch] = path;
        if (DIR* directory = opendir(path.constData())) {
            while (const dirent* entry = readdir(directory)) {
                const QByteArray name(entry->d_name);
                if (entry->d_type == DT_DIR && name != "." && name != "..") {
                    addTree(path + '/' + name);
                }
            }
            closedir(directory);
        }
        return true;
    }

    int m_fd;
    int m_failure = 0;
    std::map<int, QByteArray> m_paths;
};

/// A descriptor that becomes readable when the stop token is asked to stop.
class StopSignal {
public:
    explicit StopSignal(const std::stop_token& stop)
        : m_fd(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
        m_callback.emplace(stop, [fd = m_fd] { eventfd_write(fd, 1); });
    }
    ~StopSignal() {
        m_callback.reset(); // waits for a stop that is under way, and none comes after
        close(m_fd);
    }
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;
    [[nodiscard]] int descriptor() const { return m_fd; }

private:
    int m_fd;
    std::optional<std::stop_callback<std::function<void()>>> m_callback;
};

/// The processes that work in a folder: their working directory there, or something in it open,
/// as far as we may look (our own user's). Also what they hold open there, by real path.
struct Workers {
    std::vector<pid_t> pids;
    std::set<QByteArray> open;
};

bool within(const QByteArray& path, const QByteArray& folder) {
    return path == folder || (path.startsWith(folder) && path.at(folder.size()) == '/');
}

QByteArray linkTarget(const QByteArray& link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlink(link.constData(), target.data(), target.size() - 1);
    return length > 0 ? QByteArray(target.data(), length) : QByteArray();
}

/// Children of the source's process started since the drop: the helpers that write for it.
struct Helpers {
    pid_t source = 0;
    /// Clock ticks since boot, as /proc counts a process's start.
    unsigned long long since = 0;
};

/// Now, in the clock ticks since boot that /proc counts a process's start in.
unsigned long long ticksSinceBoot() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const auto perSecond = static_cast<unsigned long long>(sysconf(_SC_CLK_TCK));
    return static_cast<unsigned long long>(now.tv_sec) * perSecond +
           static_cast<unsigned long long>(now.tv_nsec) * perSecond / 1'000'000'000ULL;
}

/// Whether the process is one of the helpers, by its parent and start in /proc's stat.
bool isHelper(const QByteArray& process, const Helpers& helpers) {
    if (helpers.source == 0) {
        return false;
    }
    QFile stat(QFile::decodeName(process + "/stat"));
    if (!stat.open(QIODevice::ReadOnly)) {
        return false;
    }
    // pid (name) state ppid ... starttime is the 20th field after the name, which may hold
    // spaces and parentheses.
    const QByteArray line = stat.readAll();
    const QList<QByteArray> fields = line.mid(line.lastIndexOf(')') + 2).split(' ');
    constexpr int kState = 0;
    constexpr int kParent = 1;
    constexpr int kStart = 19;
    // One that has ended but is not yet collected (a zombie) works no more.
    return fields.size() > kStart && fields[kState] != "Z" && fields[kState] != "X" &&
           fields[kParent].toInt() == helpers.source &&
           fields[kStart].toULongLong() >= helpers.since;
}

/// Whether the process works in the folder, or is a helper; what it holds open in the folder
/// goes into `open`.
bool worksIn(pid_t pid, const QByteArray& folder, const Helpers& helpers,
             std::set<QByteArray>& open) {
    const QByteArray process = "/proc/" + QByteArray::number(pid);
    bool working = within(linkTarget(process + "/cwd"), folder) || isHelper(process, helpers);
    if (DIR* descriptors = opendir(process + "/fd")) {
        while (const dirent* descriptor = readdir(descriptors)) {
            const QByteArray target = linkTarget(process + "/fd/" + descriptor->d_name);
            if (!target.isEmpty() && within(target, folder)) {
                working = true;
                open.insert(target);
            }
        }
        closedir(descriptors);
    }
    return working;
}

/// Looks at every process, or only at `known` ones; never at ours, which copies what has
/// arrived and is no source's worker.
Workers workersIn(const QByteArray& folder, const Helpers& helpers,
                  const std::optional<std::vector<pid_t>>& known) {
    Workers workers;
    std::vector<pid_t> candidates;
    if (known) {
        candidates = *known;
    } else if (DIR* processes = opendir("/proc")) {
        while (const dirent* process = readdir(processes)) {
            if (process->d_name[0] >= '1' && process->d_name[0] <= '9') {
                candidates.push_back(static_cast<pid_t>(std::atoi(process->d_name)));
            }
        }
        closedir(processes);
    }
    for (const pid_t pid : candidates) {
        if (pid != getpid() && worksIn(pid, folder, helpers, workers.open)) {
            workers.pids.push_back(pid);
        }
    }
    return workers;
}

/// Descriptors that become readable when the processes end.
class Endings {
public:
    Endings() = default;
    ~Endings() { follow({}); }
    Endings(const Endings&) = delete;
    Endings& operator=(const Endings&) = delete;

    void follow(const std::vector<pid_t>& pids) {
        for (auto it = m_fds.begin(); it != m_fds.end();) {
            if (std::find(pids.begin(), pids.end(), it->first) == pids.end()) {
                close(it->second);
                it = m_fds.erase(it);
            } else {
                ++it;
            }
        }
        for (const pid_t pid : pids) {
            if (!m_fds.contains(pid)) {
                // glibc 2.36 declares pidfd_open() without C linkage: ask the kernel directly.
                if (const auto fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); fd >= 0) {
                    m_fds.emplace(pid, fd);
                }
            }
        }
    }
    void addTo(std::vector<pollfd>& polled) const {
        for (const auto& [pid, fd] : m_fds) {
            polled.push_back({fd, POLLIN, 0});
        }
    }
    /// Forgets the processes whose descriptors poll found readable: whether one has ended.
    bool dropEnded(const std::vector<pollfd>& polled) {
        bool ended = false;
        for (const pollfd& fd : polled) {
            const auto found = std::find_if(m_fds.begin(), m_fds.end(),
                                            [&fd](const auto& pid) { return pid.second == fd.fd; });
            if (fd.revents != 0 && found != m_fds.end()) {
                close(found->second);
                m_fds.erase(found);
                ended = true;
            }
        }
        return ended;
    }

private:
    std::map<pid_t, int> m_fds;
};

struct Entry {
    QByteArray name;
    bool isFile = false;
    /// When it last changed.
    timespec changed{};
};

bool later(const timespec& a, const timespec& b) {
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

/// The regular files and folders directly in the folder: what a promise may deliver. Links,
/// pipes and devices that a source might leave are not taken. Names stay bytes: a source may
/// write one that is not UTF-8.
std::vector<Entry> deliverable(const QByteArray& folder, bool* anything = nullptr) {
    std::vector<Entry> entries;
    if (DIR* directory = opendir(folder.constData())) {
        while (const dirent* entry = readdir(directory)) {
            struct stat info {};
            const QByteArray name(entry->d_name);
            if (name == "." || name == "..") {
                continue;
            }
            if (anything != nullptr) {
                *anything = true;
            }
            if (fstatat(dirfd(directory), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode))) {
                entries.push_back({name, S_ISREG(info.st_mode), info.st_ctim});
            }
        }
        closedir(directory);
    }
    std::sort(entries.begin(), entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries;
}

} // namespace

QString safeFileName(const QByteArray& proposed) {
    const QString name = QString::fromUtf8(proposed);
    // Bytes that are not UTF-8 come back three bytes each: the name must fit once written.
    const bool plain = !proposed.isEmpty() && name.toUtf8().size() <= NAME_MAX &&
                       !proposed.contains('/') && !proposed.contains('\0') && proposed != "." &&
                       proposed != "..";
    return plain ? name : QStringLiteral("未命名文件");
}

namespace {

/// One delivery's watch: what is known of the source, the folder and who works in it.
class Watch {
public:
    Watch(const QString& folder, const DeliveryTimes& times, const std::stop_token& stop,
          DeliverySource& source, const std::function<void(const QList<QUrl>&)>& arrived)
        : m_path(QFile::encodeName(folder))
        , m_real(realPath(folder))
        , m_times(times)
        , m_stop(stop)
        , m_source(source)
        , m_arrived(arrived)
        , m_changes(m_path)
        , m_stopping(stop)
        // A second's slack: the drop came a moment before the watch.
        , m_startedAround(ticksSinceBoot() -
                          static_cast<unsigned long long>(sysconf(_SC_CLK_TCK))) {}

    Delivery run() {
        if (const int failure = m_changes.failure(); failure != 0) {
            return {{},
                    QStringLiteral("无法留意临时文件夹的变化：%1")
                        .arg(QString::fromLocal8Bit(std::strerror(failure)))};
        }
        while (!m_stop.stop_requested()) {
            sleep();
            if (m_stop.stop_requested()) {
                break;
            }
            const Clock::time_point now = Clock::now();
            if (now - m_changed < seconds(m_times.quiet)) {
                continue;
            }
            lookForWorkers(now);
            publishFinished(now - m_changed);
            if (std::optional<Delivery> done = outcome(now - m_changed)) {
                return *done;
            }
        }
        return {{}, QStringLiteral("Verrabel 正在退出，文件没有收完。")};
    }

private:
    /// Trusted to be done once nothing works in the folder: the source said so after writing;
    /// it said so before, and is known, so that its helpers are among the workers; or a process
    /// seen working there has gone.
    [[nodiscard]] bool trusted() const {
        return m_answer == SourceAnswer::Saved || m_workerSeen ||
               (m_answer == SourceAnswer::SavedBeforeWriting && m_source.process() != 0);
    }

    [[nodiscard]] Helpers helpers() const {
        return {m_answer == SourceAnswer::SavedBeforeWriting ? m_source.process() : 0,
                m_startedAround};
    }

    /// The next moment something is due, if any.
    [[nodiscard]] std::optional<Clock::time_point> nextDeadline(Clock::time_point now) const {
        std::vector<Clock::time_point> deadlines{m_changed + seconds(m_times.quiet)};
        if (!m_workers.pids.empty()) {
            deadlines.push_back(m_looked + seconds(m_times.workerCheck));
            deadlines.push_back(m_changed + seconds(m_times.workingLimit));
        } else if (m_answer == SourceAnswer::Sending) {
            deadlines.push_back(m_changed + seconds(m_times.idleLimit));
        } else {
            deadlines.push_back(m_changed +
                                seconds(trusted() ? m_times.quiet : m_times.untrustedQuiet));
            deadlines.push_back(m_changed + seconds(m_times.idleLimit));
            if (m_answer == SourceAnswer::Refused) {
                deadlines.push_back(m_changed + seconds(m_times.afterRefusal));
            }
        }
        std::optional<Clock::time_point> next;
        for (const Clock::time_point deadline : deadlines) {
            if (deadline > now && (!next || deadline < *next)) {
                next = deadline;
            }
        }
        return next;
    }

    /// Sleeps until the source speaks, a worker ends, the folder changes or something is due,
    /// and takes in what happened. While the folder keeps changing, its changes are read in a
    /// batch once it has been quiet for a moment, not one at a time.
    void sleep() {
        const Clock::time_point now = Clock::now();
        std::vector<pollfd> polled{{m_stopping.descriptor(), POLLIN, 0}};
        if (m_source.descriptor() >= 0) {
            polled.push_back({m_source.descriptor(), POLLIN, 0});
        }
        if (now - m_changed >= seconds(m_times.quiet)) {
            polled.push_back({m_changes.descriptor(), POLLIN, 0});
        }
        m_endings.addTo(polled);
        const std::optional<Clock::time_point> next = nextDeadline(now);
        poll(polled.data(), polled.size(),
             next ? static_cast<int>(
                        std::chrono::ceil<std::chrono::milliseconds>(*next - now).count())
                  : -1);
        if (m_changes.drain()) {
            m_changed = Clock::now();
            m_lookedSinceChange = false;
        }
        m_answer = m_source.answer();
        if (m_endings.dropEnded(polled)) {
            m_lookedSinceChange = false; // a worker has ended: look at everyone again
        }
    }

    /// Who works in the folder: all processes are looked at once after each change, and when
    /// the known ones are done; meanwhile only those, now and then.
    void lookForWorkers(Clock::time_point now) {
        if (m_lookedSinceChange && now - m_looked < seconds(m_times.workerCheck)) {
            return;
        }
        const bool known = m_lookedSinceChange && !m_workers.pids.empty();
        m_workers =
            workersIn(m_real, helpers(), known ? std::optional(m_workers.pids) : std::nullopt);
        if (known && m_workers.pids.empty()) {
            m_workers = workersIn(m_real, helpers(), std::nullopt);
        }
        m_workerSeen = m_workerSeen || !m_workers.pids.empty();
        m_endings.follow(m_workers.pids);
        m_lookedSinceChange = true;
        m_looked = now;
    }

    /// A file is finished once it is closed and the source has gone on to write something else
    /// since (as an extractor does), or has long left it alone while working on; a source may
    /// close a file between bursts of writing. Finished files go as they are.
    void publishFinished(Clock::duration unchanged) {
        QList<QUrl> finished;
        const std::vector<Entry> entries = deliverable(m_path);
        const bool longLeft =
            !m_workers.pids.empty() && unchanged >= seconds(m_times.untrustedQuiet);
        for (const Entry& entry : entries) {
            const bool followed =
                std::any_of(entries.begin(), entries.end(), [&entry](const Entry& other) {
                    return later(other.changed, entry.changed);
                });
            if (entry.isFile && !m_published.contains(entry.name) &&
                !m_workers.open.contains(m_real + '/' + entry.name) && (followed || longLeft)) {
                m_published.insert(entry.name);
                finished.append(fileUrlFromNativePath(m_path + '/' + entry.name));
            }
        }
        if (!finished.isEmpty()) {
            m_arrived(finished);
        }
    }

    /// The delivery, once it is complete or given up.
    [[nodiscard]] std::optional<Delivery> outcome(Clock::duration unchanged) const {
        const auto unfinished = [](double limit) {
            return QStringLiteral("来源程序在 %1 秒内没有写完文件。").arg(limit);
        };
        if (!m_workers.pids.empty()) {
            // Given up, but the folder stays for whatever still works in it.
            if (unchanged >= seconds(m_times.workingLimit)) {
                return Delivery{.items = {},
                                .error = unfinished(m_times.workingLimit),
                                .complete = true,
                                .folderInUse = true};
            }
            return std::nullopt;
        }
        if (m_answer == SourceAnswer::Sending) {
            if (unchanged >= seconds(m_times.idleLimit)) {
                return Delivery{{}, unfinished(m_times.idleLimit)};
            }
            return std::nullopt;
        }
        bool anything = false;
        const std::vector<Entry> found = deliverable(m_path, &anything);
        if (anything && unchanged >= seconds(trusted() ? m_times.quiet : m_times.untrustedQuiet)) {
            QList<QUrl> rest;
            for (const Entry& entry : found) {
                if (!m_published.contains(entry.name)) {
                    rest.append(fileUrlFromNativePath(m_path + '/' + entry.name));
                }
            }
            if (rest.isEmpty() && m_published.empty()) {
                return Delivery{{}, QStringLiteral("来源程序送来的不是普通文件或文件夹。")};
            }
            return Delivery{rest, std::nullopt};
        }
        if (!anything && m_answer == SourceAnswer::Refused &&
            unchanged >= seconds(m_times.afterRefusal)) {
            return Delivery{{}, QStringLiteral("来源程序没能提供这个文件。")};
        }
        if (!anything && unchanged >= seconds(m_times.idleLimit)) {
            return Delivery{
                {}, QStringLiteral("来源程序在 %1 秒内没有送来文件。").arg(m_times.idleLimit)};
        }
        return std::nullopt;
    }

    const QByteArray m_path;
    const QByteArray m_real;
    const DeliveryTimes& m_times;
    const std::stop_token& m_stop;
    DeliverySource& m_source;
    const std::function<void(const QList<QUrl>&)>& m_arrived;
    FolderChanges m_changes;
    const StopSignal m_stopping;
    Endings m_endings;
    const unsigned long long m_startedAround;

    SourceAnswer m_answer = SourceAnswer::None;
    bool m_workerSeen = false;
    Workers m_workers;
    /// Whether the workers are known since the last change, and when they were last looked at.
    bool m_lookedSinceChange = false;
    Clock::time_point m_looked;
    Clock::time_point m_changed = Clock::now();
    std::set<QByteArray> m_published;
};

} // namespace

Delivery awaitDelivery(const QString& folder, const DeliveryTimes& times,
                       const std::stop_token& stop, DeliverySource& source,
                       const std::function<void(const QList<QUrl>&)>& arrived) {
    return Watch(folder, times, stop, source, arrived).run();
}

} // namespace verrabel
