// Publishing: how a finished copy gets its name without replacing anything, on every file
// system.

#include "name_publishing.h"

#include "tree_copy.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace verrabel {

std::vector<QByteArray> namesIn(int folder) {
    std::vector<QByteArray> names;
    const int copy = dup(folder);
    DIR* directory = copy >= 0 ? fdopendir(copy) : nullptr;
    if (directory == nullptr) {
        if (copy >= 0) {
            close(copy);
        }
        return names;
    }
    // The copy shares the folder's read position: from the start, every time.
    rewinddir(directory);
    while (const dirent* entry = readdir(directory)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
            names.emplace_back(entry->d_name);
        }
    }
    closedir(directory);
    return names;
}

namespace {

/// Moves the entry `name` from one open folder to another. A folder that moves to another parent
/// has its ".." rewritten, so a read-only one is made writable meanwhile.
int moveEntry(int from, int to, const QByteArray& name, const PublishCalls& calls) {
    struct stat info {};
    const bool locked = fstatat(from, name.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                        S_ISDIR(info.st_mode) && (info.st_mode & S_IWUSR) == 0;
    if (locked && fchmodat(from, name.constData(), info.st_mode | S_IWUSR, 0) != 0) {
        return errno;
    }
    const int failure =
        calls.renameat2(from, name.constData(), to, name.constData(), 0) == 0 ? 0 : errno;
    if (locked) {
        fchmodat(failure == 0 ? to : from, name.constData(), info.st_mode & 07777, 0);
    }
    return failure;
}

/// Moves what the folder `from` holds into the empty folder `to`, then gives `to` the mode and
/// times of `from` and removes it. Undone as far as it got when a move fails, or when `from`
/// does not end up empty: nothing is left behind.
int moveChildren(int folder, const char* from, const char* to, const PublishCalls& calls) {
    const Descriptor source(openat(folder, from, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const Descriptor target(openat(folder, to, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info {};
    if (!source.valid() || !target.valid() || fstat(source.get(), &info) != 0) {
        return errno;
    }
    // The copy has its original's mode already; a read-only one gives nothing away until then.
    if (fchmod(source.get(), info.st_mode | S_IWUSR) != 0) {
        return errno;
    }
    std::vector<QByteArray> moved;
    int failure = 0;
    for (std::vector<QByteArray> names = namesIn(source.get()); !names.empty() && failure == 0;
         names = namesIn(source.get())) {
        for (const QByteArray& name : names) {
            failure = moveEntry(source.get(), target.get(), name, calls);
            if (failure != 0) {
                break;
            }
            moved.push_back(name);
        }
    }
    if (failure == 0 && unlinkat(folder, from, AT_REMOVEDIR) != 0) {
        failure = errno;
    }
    if (failure != 0) {
        for (const QByteArray& name : moved) {
            moveEntry(target.get(), source.get(), name, calls);
        }
        fchmod(source.get(), info.st_mode & 07777);
        return failure;
    }
    const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
    fchmod(target.get(), info.st_mode & 07777);
    futimens(target.get(), times.data());
    return 0;
}

/// An empty item made to claim a name, known again by its inode.
struct Placeholder {
    dev_t device = 0;
    ino_t inode = 0;
    bool isFolder = false;

    /// Whether `name` is still this placeholder, and still empty: not someone else's since.
    [[nodiscard]] bool at(int folder, const char* name) const {
        struct stat info {};
        if (fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) != 0 || info.st_dev != device ||
            info.st_ino != inode) {
            return false;
        }
        if (!isFolder) {
            return info.st_size == 0;
        }
        const Descriptor opened(
            openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        return opened.valid() && namesIn(opened.get()).empty();
    }
    void removeFrom(int folder, const char* name) const {
        if (at(folder, name)) {
            unlinkat(folder, name, isFolder ? AT_REMOVEDIR : 0);
        }
    }
};

bool unsupported(int error) {
    return error == EINVAL || error == ENOSYS || error == EOPNOTSUPP;
}

/// Claims `name` with an empty item of our own, made by a call that fails on a taken name, then
/// puts the copy in its place: replacing that placeholder and nothing else, and never leaving it
/// behind. 0, EEXIST when the name turned out someone else's, kSwappedWithTheirs, or why it
/// could not.
int publishOverPlaceholder(int folder, const QByteArray& temporary, const QByteArray& name,
                           bool isFolder, const PublishCalls& calls) {
    // Known by what was made, not by the name, which another program may take at once.
    struct stat claimed {};
    if (isFolder) {
        if (mkdirat(folder, name.constData(), S_IRWXU) != 0) {
            return errno;
        }
        const Descriptor made(
            openat(folder, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!made.valid() || fstat(made.get(), &claimed) != 0) {
            const int failure = errno;
            unlinkat(folder, name.constData(), AT_REMOVEDIR); // only ever removes an empty one
            return failure;
        }
    } else {
        const Descriptor made(
            openat(folder, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!made.valid()) {
            return errno;
        }
        if (fstat(made.get(), &claimed) != 0) {
            const int failure = errno;
            unlinkat(folder, name.constData(), 0);
            return failure;
        }
    }
    const Placeholder placeholder{claimed.st_dev, claimed.st_ino, isFolder};
    // Swapped in one step where the file system can: what comes back must be our placeholder,
    // else another program saved over it meanwhile, and it goes back.
    if (calls.renameat2(folder, temporary.constData(), folder, name.constData(), RENAME_EXCHANGE) ==
        0) {
        if (placeholder.at(folder, temporary.constData())) {
            placeholder.removeFrom(folder, temporary.constData());
            return 0;
        }
        // Theirs goes back to its name; should the file system refuse now, ours keeps the name
        // and theirs, at our temporary name, is to be published like a copy of ours.
        return calls.renameat2(folder, temporary.constData(), folder, name.constData(),
                               RENAME_EXCHANGE) == 0
                   ? EEXIST
                   : kSwappedWithTheirs;
    }
    if (!unsupported(errno)) {
        const int failure = errno;
        placeholder.removeFrom(folder, name.constData());
        return failure;
    }
    // A plain rename replaces whatever has the name: it may replace only our placeholder, and
    // is asked for only while it is one.
    if (!placeholder.at(folder, name.constData())) {
        return EEXIST;
    }
    if (calls.renameat2(folder, temporary.constData(), folder, name.constData(), 0) == 0) {
        return 0;
    }
    int failure = errno;
    if (!placeholder.at(folder, name.constData())) {
        return EEXIST; // someone filled it in between: it is theirs now
    }
    if (isFolder) {
        // Some file systems cannot rename a folder over another, even an empty one of ours.
        failure = moveChildren(folder, temporary.constData(), name.constData(), calls);
        if (failure == 0) {
            return 0;
        }
    }
    placeholder.removeFrom(folder, name.constData());
    // The file system would not replace even our own placeholder: no other name does better.
    return failure == EEXIST || failure == ENOTEMPTY ? EOPNOTSUPP : failure;
}

} // namespace

int publish(int folder, const QByteArray& temporary, const QByteArray& name,
            const PublishCalls& calls) {
    if (calls.renameat2(folder, temporary.constData(), folder, name.constData(),
                        RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (!unsupported(errno)) {
        return errno;
    }
    struct stat info {};
    const bool isFolder = fstatat(folder, temporary.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
                          S_ISDIR(info.st_mode);
    // Without the no-replace rename, a hard link is next best: it fails on a taken name too.
    if (!isFolder) {
        if (calls.linkat(folder, temporary.constData(), folder, name.constData(), 0) == 0) {
            unlinkat(folder, temporary.constData(), 0);
            return 0;
        }
        if (errno == EEXIST) {
            return EEXIST;
        }
    }
    return publishOverPlaceholder(folder, temporary, name, isFolder, calls);
}
} // namespace verrabel
