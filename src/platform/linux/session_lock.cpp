#include "session_lock.h"

#include <QFile>

#include <sys/file.h>

#include <fcntl.h>
#include <unistd.h>

namespace verrabel {

SessionLock::SessionLock(const QString& path) {
    // flock() belongs to the open file, so a second open in this process is refused too.
    const int fd =
        open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0) {
        m_fd = fd;
    } else if (fd >= 0) {
        close(fd);
    }
}

SessionLock::~SessionLock() {
    if (m_fd >= 0) {
        close(m_fd);
    }
}

} // namespace verrabel
