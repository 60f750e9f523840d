#pragma once

#include <QString>

namespace verrabel {

/// An exclusive lock on a file that lasts as long as this object or the process: a second
/// holder, in this process or another, is refused. Nothing waits for it.
class SessionLock final {
public:
    explicit SessionLock(const QString& path);
    ~SessionLock();
    SessionLock(const SessionLock&) = delete;
    SessionLock& operator=(const SessionLock&) = delete;

    /// Whether this object holds the lock.
    [[nodiscard]] bool held() const { return m_fd >= 0; }

private:
    int m_fd = -1;
};

} // namespace verrabel
