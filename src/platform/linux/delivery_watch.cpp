#include "delivery_watch.h"

#include "folder_changes.h"
#include "folder_workers.h"
#include "platform/file_urls.h"

#include <QFile>

#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <optional>
#include <poll.h>
#include <unistd.h>

namespace verrabel {

namespace {

using Clock = DeliveryRules::Clock;

QByteArray realPath(const QString& folder) {
    std::array<char, PATH_MAX> real{};
    return realpath(QFile::encodeName(folder).constData(), real.data()) != nullptr
               ? QByteArray(real.data())
               : QFile::encodeName(folder);
}

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

/// The folder as a promise may deliver it: its regular files and folders, in name order.
/// Links, pipes and devices that a source might leave are not taken. Names stay bytes: a
/// source may write one that is not UTF-8.
FolderLook lookAt(const QByteArray& folder) {
    FolderLook look;
    std::vector<QByteArray> names;
    if (DIR* directory = opendir(folder.constData())) {
        while (const dirent* entry = readdir(directory)) {
            struct stat info {};
            const QByteArray name(entry->d_name);
            if (name == "." || name == "..") {
                continue;
            }
            look.anything = true;
            if (fstatat(dirfd(directory), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode))) {
                names.push_back(name);
            }
        }
        closedir(directory);
    }
    struct statvfs room {};
    look.full = statvfs(folder.constData(), &room) == 0 && room.f_bavail == 0;
    std::sort(names.begin(), names.end());
    for (const QByteArray& name : names) {
        look.deliverable.append(fileUrlFromNativePath(folder + '/' + name));
    }
    return look;
}

int millisecondsUntil(const std::optional<Clock::time_point>& time, Clock::time_point now) {
    return time
               ? static_cast<int>(std::chrono::ceil<std::chrono::milliseconds>(*time - now).count())
               : -1;
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

Delivery awaitDelivery(const QString& folder, DeliveryRules& rules, const std::stop_token& stop,
                       DeliverySource& source) {
    const QByteArray path = QFile::encodeName(folder);
    FolderChanges changes(path);
    if (const int failure = changes.failure(); failure != 0) {
        return {{},
                QStringLiteral("无法留意临时文件夹的变化：%1")
                    .arg(QString::fromLocal8Bit(std::strerror(failure)))};
    }
    FolderWorkers workers(realPath(folder), source.process());
    const StopSignal stopping(stop);
    rules.changed(Clock::now());
    rules.heard(source.answer());
    while (!stop.stop_requested()) {
        const Clock::time_point now = Clock::now();
        if (rules.settled(now)) {
            // Workers first: what one leaves as it ends is then in the listing.
            const bool working = workers.look();
            FolderLook look = lookAt(path);
            look.working = working;
            look.helpersFollowed = workers.followsHelpers();
            look.writerAlive = workers.workerAlive();
            look.helperAlive = workers.helperAlive();
            if (std::optional<Delivery> done = rules.decide(look, now)) {
                return *done;
            }
        }
        // While the folder keeps changing, its changes are read in a batch once it has been
        // quiet for a moment, not one at a time.
        std::vector<pollfd> polled{{stopping.descriptor(), POLLIN, 0}};
        if (source.descriptor() >= 0) {
            polled.push_back({source.descriptor(), POLLIN, 0});
        }
        if (rules.settled(now)) {
            polled.push_back({changes.descriptor(), POLLIN, 0});
        }
        workers.addTo(polled);
        poll(polled.data(), polled.size(), millisecondsUntil(rules.nextLook(now), now));
        if (changes.drain()) {
            rules.changed(Clock::now());
        }
        rules.heard(source.answer());
        workers.dropEnded(polled);
    }
    return {{}, QStringLiteral("Verrabel 正在退出，文件没有收完。")};
}

} // namespace verrabel
