#pragma once

#include <QByteArray>

#include <sys/types.h>

#include <map>
#include <vector>

struct pollfd;

namespace verrabel {

/// The processes that work in a folder: their working directory there, or something in it open,
/// as far as we may look (our own user's). Never our own, which copies what has arrived and is
/// nobody's worker. Each one seen is followed until it ends, as are the source's helpers: the
/// children it starts after the drop, which may write into the folder from elsewhere.
class FolderWorkers {
public:
    /// `folder` by its real path, as /proc shows paths; `source` 0 when unknown.
    FolderWorkers(QByteArray folder, pid_t source);
    ~FolderWorkers();
    FolderWorkers(const FolderWorkers&) = delete;
    FolderWorkers& operator=(const FolderWorkers&) = delete;

    /// Looks at every process: whether one works in the folder now.
    bool look();
    /// Whether the source is known, so that its helpers are followed.
    [[nodiscard]] bool followsHelpers() const { return m_source != 0; }
    /// Whether a process seen working in the folder still runs, wherever it works now.
    [[nodiscard]] bool workerAlive() const;
    /// Whether a helper never seen working in the folder still runs.
    [[nodiscard]] bool helperAlive() const;
    /// Descriptors that become readable when a process seen working ends.
    void addTo(std::vector<pollfd>& polled) const;
    /// Forgets the processes whose descriptors poll found readable; whether one has ended.
    bool dropEnded(const std::vector<pollfd>& polled);

private:
    const QByteArray m_folder;
    const pid_t m_source;
    /// When the drop came, give or take a second, in the clock ticks since boot that /proc
    /// counts a process's start in.
    const unsigned long long m_since;
    struct Followed {
        int pidfd = -1;
        bool seenWorking = false;
    };
    /// Each process seen working, and each helper, until it ends.
    std::map<pid_t, Followed> m_ending;
};

} // namespace verrabel
