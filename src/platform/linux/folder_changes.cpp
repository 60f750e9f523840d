#include "folder_changes.h"

#include <sys/inotify.h>

#include <array>
#include <cerrno>
#include <dirent.h>
#include <unistd.h>

namespace verrabel {

namespace {

// What writing does; not reading, which the watch itself does to the folder.
constexpr std::uint32_t kChanges =
    IN_CREATE | IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE;

} // namespace

FolderChanges::FolderChanges(const QByteArray& folder)
    : m_fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (m_fd < 0 || !addTree(folder)) {
        m_failure = errno;
    }
}

FolderChanges::~FolderChanges() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

bool FolderChanges::drain() {
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

bool FolderChanges::addTree(const QByteArray& path) {
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

} // namespace verrabel
