// The copy engine: one item, file, folder or link, copied entry by entry under a new name.

#include "tree_copy.h"

#include <QFile>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

namespace verrabel {

namespace {

constexpr std::size_t kCopyChunk = 1 << 20;

FileError specialFileError() {
    return FileError{QStringLiteral("Verrabel"), FileStore::kSpecialFile,
                     QStringLiteral("不能保存特殊文件（管道、套接字或设备）。")};
}

/// Copies bytes [from, to) at the same offsets, in the kernel where it can.
std::optional<int> copyRange(int source, int target, off_t from, off_t to) {
    while (from < to) {
        loff_t in = from;
        loff_t out = from;
        const ssize_t copied =
            copy_file_range(source, &in, target, &out, static_cast<size_t>(to - from), 0);
        if (copied > 0) {
            from += copied;
            continue;
        }
        if (copied == 0) {
            return EIO; // the file shrank under us
        }
        if (errno == EINTR) {
            continue;
        }
        if (errno != EXDEV && errno != ENOSYS && errno != EOPNOTSUPP && errno != EINVAL) {
            return errno;
        }
        // No kernel copy between these files: read and write.
        std::vector<char> buffer(kCopyChunk);
        while (from < to) {
            const ssize_t got =
                pread(source, buffer.data(), std::min<std::size_t>(buffer.size(), to - from), from);
            if (got <= 0) {
                return got == 0 ? EIO : errno;
            }
            for (ssize_t written = 0; written < got;) {
                const ssize_t put =
                    pwrite(target, buffer.data() + written, got - written, from + written);
                if (put < 0) {
                    return errno;
                }
                written += put;
            }
            from += got;
        }
    }
    return std::nullopt;
}

/// Copies only the data extents, so that holes stay holes.
std::optional<int> copySparse(int source, int target, off_t size) {
    off_t offset = 0;
    while (offset < size) {
        const off_t data = lseek(source, offset, SEEK_DATA);
        if (data < 0) {
            if (errno == ENXIO) {
                break; // only a hole is left
            }
            return copyRange(source, target, offset, size); // no hole support: all of it
        }
        off_t hole = lseek(source, data, SEEK_HOLE);
        if (hole < 0) {
            hole = size;
        }
        if (const auto error = copyRange(source, target, data, std::min(hole, size))) {
            return error;
        }
        offset = hole;
    }
    return ftruncate(target, size) == 0 ? std::nullopt : std::optional(errno);
}

mode_t currentUmask() {
    // umask() can only be read by setting it; /proc tells without a race between threads.
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : status.readAll().split('\n')) {
            if (line.startsWith("Umask:")) {
                return static_cast<mode_t>(line.mid(6).trimmed().toUInt(nullptr, 8));
            }
        }
    }
    return 0777; // unknown: set every mode explicitly
}

/// One item's copy, entry by entry, relative to open folders so that no path is walked twice.
/// Every syscall saved counts: in a folder of small files, creating them is all the work.
class Copier {
public:
    std::optional<FileError> copy(int sourceFolder, const char* sourceName, int targetFolder,
                                  const char* targetName, unsigned char type = DT_UNKNOWN) {
        if (type == DT_REG) {
            return copyFile(sourceFolder, sourceName, targetFolder, targetName);
        }
        struct stat info {};
        if (fstatat(sourceFolder, sourceName, &info, AT_SYMLINK_NOFOLLOW) != 0) {
            return systemError(errno);
        }
        if (S_ISREG(info.st_mode)) {
            return copyFile(sourceFolder, sourceName, targetFolder, targetName);
        }
        if (S_ISDIR(info.st_mode)) {
            return copyFolder(sourceFolder, sourceName, info, targetFolder, targetName);
        }
        if (S_ISLNK(info.st_mode)) {
            return copyLink(sourceFolder, sourceName, info, targetFolder, targetName);
        }
        return specialFileError(); // never opened: a device might act on being opened
    }

private:
    std::optional<FileError> copyFile(int sourceFolder, const char* sourceName, int targetFolder,
                                      const char* targetName) {
        // Non-blocking, so that an item that turned into a FIFO cannot hang us.
        const Descriptor input(
            openat(sourceFolder, sourceName, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        if (!input.valid()) {
            return errno == ELOOP || errno == ENXIO ? specialOrSystem(errno) : systemError(errno);
        }
        struct stat info {};
        if (fstat(input.get(), &info) != 0) {
            return systemError(errno);
        }
        if (!S_ISREG(info.st_mode)) {
            return specialFileError();
        }
        const mode_t mode = info.st_mode & 01777; // permissions and sticky, never set-id bits
        const Descriptor output(
            openat(targetFolder, targetName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
        if (!output.valid()) {
            return systemError(errno);
        }
        if (const auto error = copyData(input.get(), output.get(), info)) {
            return systemError(*error);
        }
        if ((mode & m_umask) != 0 && fchmod(output.get(), mode) != 0) {
            return systemError(errno);
        }
        const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
        if (futimens(output.get(), times.data()) != 0) {
            return systemError(errno);
        }
        return std::nullopt;
    }

    /// A clone where the file system shares blocks; else the data, holes kept as holes.
    std::optional<int> copyData(int source, int target, const struct stat& info) {
        if (info.st_size == 0) {
            return std::nullopt;
        }
        if (m_mayClone) {
            if (ioctl(target, FICLONE, source) == 0) {
                return std::nullopt;
            }
            m_mayClone = errno != EOPNOTSUPP && errno != EXDEV && errno != EINVAL;
        }
        constexpr off_t kBlock = 512;
        if (info.st_blocks * kBlock < info.st_size) {
            return copySparse(source, target, info.st_size);
        }
        return copyRange(source, target, 0, info.st_size);
    }

    std::optional<FileError> copyFolder(int sourceFolder, const char* sourceName,
                                        const struct stat& info, int targetFolder,
                                        const char* targetName) {
        if (mkdirat(targetFolder, targetName, S_IRWXU) != 0) {
            return systemError(errno);
        }
        const Descriptor target(
            openat(targetFolder, targetName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        const int source =
            openat(sourceFolder, sourceName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (!target.valid() || source < 0) {
            const int code = errno;
            if (source >= 0) {
                close(source);
            }
            return systemError(code);
        }
        DIR* directory = fdopendir(source); // owns `source` from here
        if (directory == nullptr) {
            close(source);
            return systemError(errno);
        }
        std::optional<FileError> failure;
        for (;;) {
            errno = 0; // readdir() tells its end from an error only by errno
            const dirent* entry = readdir(directory);
            if (entry == nullptr) {
                if (errno != 0) {
                    failure = systemError(errno);
                }
                break;
            }
            if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
                continue;
            }
            failure =
                copy(dirfd(directory), entry->d_name, target.get(), entry->d_name, entry->d_type);
            if (failure) {
                break;
            }
        }
        closedir(directory);
        if (failure) {
            return failure;
        }
        // Mode and times last: filling the folder changed its times.
        const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
        if (fchmod(target.get(), info.st_mode & 01777) != 0 ||
            futimens(target.get(), times.data()) != 0) {
            return systemError(errno);
        }
        return std::nullopt;
    }

    static std::optional<FileError> copyLink(int sourceFolder, const char* sourceName,
                                             const struct stat& info, int targetFolder,
                                             const char* targetName) {
        // st_size is the target's length on most file systems, 0 on some: grow until it fits.
        std::vector<char> target(std::max<std::size_t>(static_cast<std::size_t>(info.st_size), 64) +
                                 1);
        ssize_t length = 0;
        for (;;) {
            length = readlinkat(sourceFolder, sourceName, target.data(), target.size());
            if (length < 0) {
                return systemError(errno);
            }
            if (static_cast<std::size_t>(length) < target.size()) {
                break;
            }
            target.resize(target.size() * 2);
        }
        target[static_cast<std::size_t>(length)] = '\0';
        if (symlinkat(target.data(), targetFolder, targetName) != 0) {
            return systemError(errno);
        }
        const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
        utimensat(targetFolder, targetName, times.data(), AT_SYMLINK_NOFOLLOW);
        return std::nullopt;
    }

    /// An entry that readdir() called a file but that open() refuses as a link or a socket.
    static std::optional<FileError> specialOrSystem(int code) {
        return code == ENXIO ? specialFileError() : systemError(code);
    }

    bool m_mayClone = true;
    mode_t m_umask = currentUmask();
};

} // namespace

FileError systemError(int code) {
    std::array<char, 256> buffer{};
    // The GNU strerror_r, in the C library's language for the user's locale.
    return {QStringLiteral("POSIX"), code,
            QString::fromLocal8Bit(strerror_r(code, buffer.data(), buffer.size()))};
}

void removeTree(int folder, const char* name) {
    if (unlinkat(folder, name, 0) == 0 || errno != EISDIR) {
        return;
    }
    // A folder copied with its original's read-only mode cannot be emptied until it is ours
    // to write again.
    fchmodat(folder, name, S_IRWXU, 0);
    const int fd = openat(folder, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (fd >= 0) {
        if (DIR* directory = fdopendir(fd)) {
            while (const dirent* entry = readdir(directory)) {
                if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
                    removeTree(fd, entry->d_name);
                }
            }
            closedir(directory);
        } else {
            close(fd);
        }
    }
    unlinkat(folder, name, AT_REMOVEDIR);
}

std::optional<FileError> copyTree(int sourceFolder, const char* sourceName, int targetFolder,
                                  const char* targetName) {
    return Copier().copy(sourceFolder, sourceName, targetFolder, targetName);
}

} // namespace verrabel
