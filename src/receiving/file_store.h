#pragma once

#include <QString>
#include <QUrl>

#include <cstdio>
#include <functional>
#include <optional>
#include <unistd.h>

namespace verrabel {

/// A failure that the user is shown: Verrabel's own (domain "Verrabel") or the system's.
struct FileError {
    QString domain;
    int code = 0;
    QString description;

    bool operator==(const FileError&) const = default;
};

struct CopyResult {
    /// Where the item is in the destination folder; empty on failure.
    QString path;
    std::optional<FileError> error;
};

/// The calls that give a finished copy its name. File systems differ in which of them they
/// have (NFS, CIFS and many FUSE mounts lack the no-replace rename); tests stand those in.
struct PublishCalls {
    int (*renameat2)(int, const char*, int, const char*, unsigned int) = ::renameat2;
    int (*linkat)(int, const char*, int, const char*, int) = ::linkat;
};

/// The only way anything is written into the Desktop: copy an item into a folder under a
/// name that overwrites nothing. Stateless; callable from any thread, also for one folder
/// from several threads at once.
class FileStore final {
public:
    FileStore() = delete;

    static constexpr int kIntoItself = 1;
    static constexpr int kTooManyNames = 2;
    static constexpr int kSpecialFile = 3;
    static constexpr int kNotLocal = 4;

    /// Copies the item at the file URL `source` into `folder` under its own name or, when that
    /// is taken, the first free "name (n).ext" for n from 1 to 9999 (the name shortened, where
    /// needed, to fit the file system's 255 bytes). An item already directly in the folder is not
    /// copied; its own path comes back. The copy is made under a hidden temporary name and then
    /// given its name: by a rename or a link that fails on a taken name or, where the file
    /// system has neither, over an empty placeholder of our own that claimed the name first,
    /// swapped with it or, failing that, renamed over it only while it is still ours and empty.
    /// So a half-made copy never shows under a real name and two writers never take one name.
    /// Folders are copied recursively, symbolic links as links, with permissions and modification
    /// times; holes stay holes.
    [[nodiscard]] static CopyResult copy(const QUrl& source, const QString& folder,
                                         const PublishCalls& calls = {});

    /// Moves the item at the file URL `source` into `folder` as copy() would copy it: by a
    /// rename where both are on one file system, by a copy where not (the item then stays).
    [[nodiscard]] static CopyResult move(const QUrl& source, const QString& folder,
                                         const PublishCalls& calls = {});

    /// Makes a new folder of the user's alone in `folder`, hidden and named as a temporary of
    /// this run: where files are staged to be moved in, and what removeStaleTemporaries() takes
    /// once this run has ended.
    [[nodiscard]] static CopyResult makeStaging(const QString& folder);

    /// Removes what copies of this user's earlier runs on this machine, since ended, left
    /// half-made in `folder`. Anything else is left alone, look-alikes included.
    static void removeStaleTemporaries(const QString& folder);

private:
    /// Gives what `make` puts under a temporary name in the open folder `target` (at
    /// `destination`) the first free candidate name for `name`.
    [[nodiscard]] static CopyResult
    giveName(int target, const QByteArray& destination, const QByteArray& name,
             const PublishCalls& calls,
             const std::function<std::optional<FileError>(QByteArray&)>& make);
};

} // namespace verrabel
