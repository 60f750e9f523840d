#pragma once

#include <QString>

#include <functional>
#include <memory>

namespace verrabel {

/// Watches one folder until destroyed.
class DirectoryWatcher {
public:
    virtual ~DirectoryWatcher() = default;
};

class DirectoryWatchers {
public:
    virtual ~DirectoryWatchers() = default;
    /// Calls `onChange` on the main thread when entries of `path` are created, deleted, moved
    /// in or out or change attributes, and when the folder itself is deleted or moved.
    /// Null when the folder cannot be opened for watching.
    [[nodiscard]] virtual std::unique_ptr<DirectoryWatcher>
    watch(const QString& path, std::function<void()> onChange) = 0;
};

} // namespace verrabel
