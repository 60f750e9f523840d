#include "inotify_watchers.h"

#include <QFile>
#include <QSocketNotifier>

#include <sys/inotify.h>

#include <array>
#include <unistd.h>

namespace verrabel {

namespace {

constexpr std::uint32_t kEvents = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_ATTRIB |
                                  IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

class InotifyWatcher final : public DirectoryWatcher {
public:
    InotifyWatcher(int fd, std::function<void()> onChange)
        : m_fd(fd)
        , m_onChange(std::move(onChange))
        , m_notifier(fd, QSocketNotifier::Read) {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier,
                         [this] { drain(); });
    }
    ~InotifyWatcher() override { close(m_fd); }
    InotifyWatcher(const InotifyWatcher&) = delete;
    InotifyWatcher& operator=(const InotifyWatcher&) = delete;

private:
    // A burst of events becomes one call: the listener rescans the whole folder anyway.
    void drain() {
        alignas(inotify_event) std::array<char, 16384> buffer{};
        bool changed = false;
        while (read(m_fd, buffer.data(), buffer.size()) > 0) {
            changed = true;
        }
        if (changed) {
            m_onChange();
        }
    }

    int m_fd;
    std::function<void()> m_onChange;
    QSocketNotifier m_notifier;
};

} // namespace

std::unique_ptr<DirectoryWatcher> InotifyWatchers::watch(const QString& path,
                                                         std::function<void()> onChange) {
    const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (fd < 0) {
        return nullptr;
    }
    if (path.isEmpty() || inotify_add_watch(fd, QFile::encodeName(path).constData(), kEvents) < 0) {
        close(fd);
        return nullptr;
    }
    return std::make_unique<InotifyWatcher>(fd, std::move(onChange));
}

} // namespace verrabel
