#include "folder_workers.h"

#include <QFile>
#include <QList>

#include <sys/syscall.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <ctime>
#include <dirent.h>
#include <poll.h>
#include <unistd.h>

namespace verrabel {

namespace {

bool within(const QByteArray& path, const QByteArray& folder) {
    return path == folder || (path.startsWith(folder) && path.at(folder.size()) == '/');
}

QByteArray linkTarget(const QByteArray& link) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = readlink(link.constData(), target.data(), target.size() - 1);
    return length > 0 ? QByteArray(target.data(), length) : QByteArray();
}

bool worksIn(pid_t pid, const QByteArray& folder) {
    const QByteArray process = "/proc/" + QByteArray::number(pid);
    if (within(linkTarget(process + "/cwd"), folder)) {
        return true;
    }
    bool working = false;
    if (DIR* descriptors = opendir(process + "/fd")) {
        while (const dirent* descriptor = readdir(descriptors)) {
            if (within(linkTarget(process + "/fd/" + descriptor->d_name), folder)) {
                working = true;
                break;
            }
        }
        closedir(descriptors);
    }
    return working;
}

/// Now, in the clock ticks since boot that /proc counts a process's start in.
unsigned long long ticksSinceBoot() {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    const auto perSecond = static_cast<unsigned long long>(sysconf(_SC_CLK_TCK));
    return static_cast<unsigned long long>(now.tv_sec) * perSecond +
           static_cast<unsigned long long>(now.tv_nsec) * perSecond / 1'000'000'000ULL;
}

/// Whether the process is a child of `source` started since `since`, by /proc's stat.
bool isHelper(pid_t pid, pid_t source, unsigned long long since) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (source == 0 || !stat.open(QIODevice::ReadOnly)) {
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
           fields[kParent].toInt() == source && fields[kStart].toULongLong() >= since;
}

} // namespace

FolderWorkers::FolderWorkers(QByteArray folder, pid_t source)
    : m_folder(std::move(folder))
    , m_source(source)
    // A second's slack: the drop came a moment before the watch.
    , m_since(ticksSinceBoot() - static_cast<unsigned long long>(sysconf(_SC_CLK_TCK))) {}

FolderWorkers::~FolderWorkers() {
    for (const auto& [pid, followed] : m_ending) {
        close(followed.pidfd);
    }
}

bool FolderWorkers::workerAlive() const {
    return std::any_of(m_ending.begin(), m_ending.end(),
                       [](const auto& followed) { return followed.second.seenWorking; });
}

bool FolderWorkers::helperAlive() const {
    return std::any_of(m_ending.begin(), m_ending.end(),
                       [](const auto& followed) { return !followed.second.seenWorking; });
}

bool FolderWorkers::look() {
    bool working = false;
    std::vector<std::pair<pid_t, bool>> writers;
    if (DIR* processes = opendir("/proc")) {
        while (const dirent* process = readdir(processes)) {
            if (process->d_name[0] < '1' || process->d_name[0] > '9') {
                continue;
            }
            const auto pid = static_cast<pid_t>(std::atoi(process->d_name));
            if (pid == getpid()) {
                continue;
            }
            if (worksIn(pid, m_folder)) {
                working = true;
                writers.emplace_back(pid, true);
            } else if (!m_ending.contains(pid) && isHelper(pid, m_source, m_since)) {
                writers.emplace_back(pid, false);
            }
        }
        closedir(processes);
    }
    for (const auto& [pid, seenWorking] : writers) {
        if (const auto known = m_ending.find(pid); known != m_ending.end()) {
            known->second.seenWorking = known->second.seenWorking || seenWorking;
            continue;
        }
        // glibc 2.36 declares pidfd_open() without C linkage: ask the kernel directly.
        if (const auto fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0)); fd >= 0) {
            m_ending.emplace(pid, Followed{fd, seenWorking});
        }
    }
    return working;
}

void FolderWorkers::addTo(std::vector<pollfd>& polled) const {
    for (const auto& [pid, followed] : m_ending) {
        polled.push_back({followed.pidfd, POLLIN, 0});
    }
}

bool FolderWorkers::dropEnded(const std::vector<pollfd>& polled) {
    bool ended = false;
    for (const pollfd& fd : polled) {
        const auto found = std::find_if(m_ending.begin(), m_ending.end(), [&fd](const auto& pid) {
            return pid.second.pidfd == fd.fd;
        });
        if (fd.revents != 0 && found != m_ending.end()) {
            close(found->second.pidfd);
            m_ending.erase(found);
            ended = true;
        }
    }
    return ended;
}

} // namespace verrabel
