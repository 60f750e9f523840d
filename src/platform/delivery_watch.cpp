#include "delivery_watch.h"

#include "file_urls.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <climits>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace verrabel {

namespace {

using Clock = std::chrono::steady_clock;

/// Everything about the folder's contents that changes while a source writes into it.
QString snapshot(const QString& folder) {
    QString state;
    QDirIterator entries(folder,
                         QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QFileInfo info = entries.nextFileInfo();
        state += info.filePath() + QLatin1Char('|') + QString::number(info.size()) +
                 QLatin1Char('|') + QString::number(info.lastModified().toMSecsSinceEpoch()) +
                 QLatin1Char('\n');
    }
    return state;
}

/// Whether any process we may look at holds a file below the folder open.
bool heldOpen(const QString& folder) {
    // The links in /proc name files by their real paths.
    std::array<char, PATH_MAX> real{};
    if (realpath(QFile::encodeName(folder).constData(), real.data()) == nullptr) {
        return false;
    }
    const QByteArray prefix = QByteArray(real.data()) + '/';
    DIR* processes = opendir("/proc");
    if (processes == nullptr) {
        return false;
    }
    bool held = false;
    while (const dirent* process = readdir(processes)) {
        if (held || process->d_name[0] < '0' || process->d_name[0] > '9') {
            continue;
        }
        const QByteArray fds = QByteArray("/proc/") + process->d_name + "/fd";
        DIR* descriptors = opendir(fds.constData());
        if (descriptors == nullptr) {
            continue; // gone, or another user's
        }
        while (const dirent* descriptor = readdir(descriptors)) {
            std::array<char, PATH_MAX> target{};
            const QByteArray link = fds + '/' + descriptor->d_name;
            const ssize_t length = readlink(link.constData(), target.data(), target.size() - 1);
            if (length > 0 && QByteArray(target.data(), length).startsWith(prefix)) {
                held = true;
                break;
            }
        }
        closedir(descriptors);
    }
    closedir(processes);
    return held;
}

/// The regular files and folders directly in the folder: what a promise may deliver. Links,
/// pipes and devices that a source might leave are not taken. Names stay bytes: a source may
/// write one that is not UTF-8.
QList<QUrl> deliveredItems(const QString& folder) {
    const QByteArray path = QFile::encodeName(folder);
    QList<QByteArray> names;
    if (DIR* directory = opendir(path.constData())) {
        while (const dirent* entry = readdir(directory)) {
            struct stat info {};
            const QByteArray name(entry->d_name);
            if (name != "." && name != ".." &&
                fstatat(dirfd(directory), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                (S_ISREG(info.st_mode) || S_ISDIR(info.st_mode))) {
                names.append(name);
            }
        }
        closedir(directory);
    }
    std::sort(names.begin(), names.end());
    QList<QUrl> items;
    for (const QByteArray& name : names) {
        items.append(fileUrlFromNativePath(path + '/' + name));
    }
    return items;
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

Delivery awaitDelivery(const QString& folder, const DeliveryTimes& times,
                       const std::stop_token& stop, const SourceWait& source) {
    const auto seconds = [](double value) {
        return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(value));
    };
    QString last = snapshot(folder);
    Clock::time_point changed = Clock::now();
    while (!stop.stop_requested()) {
        const SourceAnswer answer = source(times.pollInterval, stop);
        const QString now = snapshot(folder);
        if (now != last) {
            last = now;
            changed = Clock::now();
            continue;
        }
        const auto unchanged = Clock::now() - changed;
        const double quiet = answer == SourceAnswer::Saved ? times.quiet : times.unansweredQuiet;
        if (!now.isEmpty() && unchanged >= seconds(quiet) && !heldOpen(folder)) {
            const QList<QUrl> items = deliveredItems(folder);
            if (items.isEmpty()) {
                return {{}, QStringLiteral("来源程序送来的不是普通文件或文件夹。")};
            }
            return {items, std::nullopt};
        }
        if (now.isEmpty() && answer == SourceAnswer::Refused &&
            unchanged >= seconds(times.afterRefusal)) {
            return {{}, QStringLiteral("来源程序没能提供这个文件。")};
        }
        if (unchanged >= seconds(times.idleLimit)) {
            // Something there but still held open is a file the source stopped writing.
            return {{},
                    (now.isEmpty() ? QStringLiteral("来源程序在 %1 秒内没有送来文件。")
                                   : QStringLiteral("来源程序在 %1 秒内没有写完文件。"))
                        .arg(times.idleLimit)};
        }
    }
    return {{}, QStringLiteral("Verrabel 正在退出，文件没有收完。")};
}

} // namespace verrabel
