#pragma once

#include <QByteArray>

#include <map>

namespace verrabel {

/// Changes anywhere below a folder, through inotify: the folder and each folder made in it.
class FolderChanges {
public:
    explicit FolderChanges(const QByteArray& folder);
    ~FolderChanges();
    FolderChanges(const FolderChanges&) = delete;
    FolderChanges& operator=(const FolderChanges&) = delete;

    /// Readable when something changed.
    [[nodiscard]] int descriptor() const { return m_fd; }
    /// Why the folder cannot be watched (the user's inotify limits, say); 0 when it can.
    [[nodiscard]] int failure() const { return m_failure; }
    /// Reads what happened, without waiting; whether anything did.
    bool drain();

private:
    bool addTree(const QByteArray& path);

    int m_fd;
    int m_failure = 0;
    std::map<int, QByteArray> m_paths;
};

} // namespace verrabel
