#include "file_store.h"

#include "platform/file_urls.h"

#include <QFile>
#include <QRandomGenerator>

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

namespace verrabel {

namespace {

constexpr int kCandidates = 10'000;
constexpr std::size_t kCopyChunk = 1 << 20;
// Hidden, so the listing never shows a half-made copy; the PID tells whose it is.
constexpr QByteArrayView kTemporaryPrefix(".verrabel-");
constexpr QByteArrayView kTemporarySuffix(".partial");

FileError systemError(int code) {
    std::array<char, 256> buffer{};
    // The GNU strerror_r, in the C library's language for the user's locale.
    return {QStringLiteral("POSIX"), code,
            QString::fromLocal8Bit(strerror_r(code, buffer.data(), buffer.size()))};
}

FileError verrabelError(int code, const QString& description) {
    return {QStringLiteral("Verrabel"), code, description};
}

/// Closes a descriptor when it goes out of scope.
class Descriptor {
public:
    explicit Descriptor(int fd)
        : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool valid() const { return m_fd >= 0; }

private:
    int m_fd;
};

/// The path without "." and ".." segments or doubled slashes, as bytes.
QByteArray cleanPath(const QByteArray& path) {
    QList<QByteArray> parts;
    for (const QByteArray& part : path.split('/')) {
        if (part.isEmpty() || part == ".") {
            continue;
        }
        if (part == "..") {
            if (!parts.isEmpty()) {
                parts.removeLast();
            }
            continue;
        }
        parts.append(part);
    }
    return '/' + parts.join('/');
}

QByteArray parentOf(const QByteArray& path) {
    const qsizetype slash = path.lastIndexOf('/');
    return slash <= 0 ? QByteArray("/") : path.left(slash);
}

QByteArray nameOf(const QByteArray& path) {
    return path.mid(path.lastIndexOf('/') + 1);
}

/// The path with symbolic links resolved as far as it exists; as given where it does not.
QByteArray resolved(const QByteArray& path) {
    std::array<char, PATH_MAX> buffer{};
    if (realpath(path.constData(), buffer.data()) != nullptr) {
        return buffer.data();
    }
    return cleanPath(path);
}

/// The candidate names: the item's own, then "base (n).extension" with the standard library's
/// idea of an extension (".profile" has none; "archive.tar.gz" has ".gz").
class CandidateNames {
public:
    explicit CandidateNames(QByteArray name)
        : m_name(std::move(name)) {
        const std::filesystem::path path(m_name.toStdString());
        const std::string extension = path.extension().string();
        if (extension.size() > 1) {
            m_base = QByteArray::fromStdString(path.stem().string());
            m_extension = QByteArray::fromStdString(extension);
        } else {
            m_base = m_name;
        }
    }

    [[nodiscard]] QByteArray at(int n) const {
        if (n == 0) {
            return m_name;
        }
        const QByteArray suffix = " (" + QByteArray::number(n) + ")" + m_extension;
        // A long name, Chinese ones most of all at three bytes a character, may not fit once
        // numbered: shorten the base, never in the middle of a character.
        qsizetype keep = std::min(m_base.size(), qsizetype{NAME_MAX} - suffix.size());
        while (keep > 0 && (static_cast<unsigned char>(m_base[keep]) & 0xC0) == 0x80) {
            --keep;
        }
        return m_base.left(std::max<qsizetype>(keep, 0)) + suffix;
    }

private:
    QByteArray m_name;
    QByteArray m_base;
    QByteArray m_extension;
};

/// Removes an entry and, for a folder, everything in it, without following links.
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

FileError specialFileError() {
    return verrabelError(FileStore::kSpecialFile,
                         QStringLiteral("不能保存特殊文件（管道、套接字或设备）。"));
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

QByteArray newTemporaryName() {
    return kTemporaryPrefix.toByteArray() + QByteArray::number(getpid()) + '-' +
           QByteArray::number(QRandomGenerator::global()->generate64(), 36) +
           kTemporarySuffix.toByteArray();
}

/// Publishes the temporary as `name` unless something already has that name.
int publish(int folder, const QByteArray& temporary, const QByteArray& name) {
    if (renameat2(folder, temporary.constData(), folder, name.constData(), RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return errno;
    }
    // A file system without the no-replace rename: a hard link fails on a taken name too.
    if (linkat(folder, temporary.constData(), folder, name.constData(), 0) == 0) {
        unlinkat(folder, temporary.constData(), 0);
        return 0;
    }
    if (errno != EPERM) {
        return errno;
    }
    // Folders cannot be linked: check, then rename, and accept the small race.
    struct stat taken {};
    if (fstatat(folder, name.constData(), &taken, AT_SYMLINK_NOFOLLOW) == 0) {
        return EEXIST;
    }
    return renameat(folder, temporary.constData(), folder, name.constData()) == 0 ? 0 : errno;
}

} // namespace

CopyResult FileStore::copy(const QUrl& source, const QString& folder) {
    const QByteArray item = cleanPath(nativePathOf(source));
    const QByteArray destination = QFile::encodeName(folder);
    const QByteArray home = resolved(destination);
    if (resolved(parentOf(item)) == home) {
        return {QFile::decodeName(item), std::nullopt}; // already there
    }
    const QByteArray original = resolved(item);
    if (home == original || original == "/" || home.startsWith(original + '/')) {
        return {{}, verrabelError(kIntoItself, QStringLiteral("不能把文件夹复制到它自己里面。"))};
    }
    if (!destination.startsWith('/')) {
        return {{}, systemError(ENOENT)};
    }

    const Descriptor parent(open(parentOf(item).constData(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!parent.valid()) {
        return {{}, systemError(errno)};
    }
    const Descriptor target(open(destination.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!target.valid()) {
        return {{}, systemError(errno)};
    }
    const QByteArray name = nameOf(item);
    const CandidateNames names(name);
    QByteArray temporary;
    for (int n = 0; n < kCandidates; ++n) {
        const QByteArray candidate = names.at(n);
        struct stat taken {};
        if (fstatat(target.get(), candidate.constData(), &taken, AT_SYMLINK_NOFOLLOW) == 0) {
            continue;
        }
        if (errno != ENOENT) {
            const int code = errno;
            if (!temporary.isEmpty()) {
                removeTree(target.get(), temporary.constData());
            }
            return {{}, systemError(code)};
        }
        if (temporary.isEmpty()) {
            temporary = newTemporaryName();
            if (const auto error = Copier().copy(parent.get(), name.constData(), target.get(),
                                                 temporary.constData())) {
                removeTree(target.get(), temporary.constData());
                return {{}, error};
            }
        }
        const int published = publish(target.get(), temporary, candidate);
        if (published == 0) {
            return {QFile::decodeName(destination + '/' + candidate), std::nullopt};
        }
        if (published != EEXIST) {
            removeTree(target.get(), temporary.constData());
            return {{}, systemError(published)};
        }
        // Another writer took the name after the check: on to the next number.
    }
    if (!temporary.isEmpty()) {
        removeTree(target.get(), temporary.constData());
    }
    return {{}, verrabelError(kTooManyNames, QStringLiteral("同名文件过多，无法保存。"))};
}

void FileStore::removeStaleTemporaries(const QString& folder) {
    const Descriptor fd(
        open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.valid()) {
        return;
    }
    DIR* directory = fdopendir(dup(fd.get()));
    if (directory == nullptr) {
        return;
    }
    std::vector<QByteArray> stale;
    while (const dirent* entry = readdir(directory)) {
        const QByteArray name(entry->d_name);
        if (!name.startsWith(kTemporaryPrefix) || !name.endsWith(kTemporarySuffix)) {
            continue;
        }
        bool numeric = false;
        const pid_t owner =
            name.mid(kTemporaryPrefix.size()).split('-').constFirst().toInt(&numeric);
        // Ours, or a live process's (another session's Verrabel): still being written.
        if (numeric && (owner == getpid() || kill(owner, 0) == 0 || errno == EPERM)) {
            continue;
        }
        stale.push_back(name);
    }
    closedir(directory);
    for (const QByteArray& name : stale) {
        removeTree(fd.get(), name.constData());
    }
}

} // namespace verrabel
