// Naming and publishing: which name a copy gets, and how it gets it without replacing anything.

#include "file_store.h"

#include "candidate_names.h"
#include "platform/file_urls.h"
#include "tree_copy.h"

#include <QCryptographicHash>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <vector>

namespace verrabel {

namespace {

constexpr int kCandidates = 10'000;
// Hidden, so the listing never shows a half-made copy. The PID and the marks of the machine and
// its boot tell whose it is: PIDs mean nothing on another host sharing the Desktop, in a
// container, or after a reboot.
constexpr QByteArrayView kTemporaryPrefix(".verrabel-");
constexpr QByteArrayView kTemporarySuffix(".partial");

FileError verrabelError(int code, const QString& description) {
    return {QStringLiteral("Verrabel"), code, description};
}

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

/// Eight hex digits of a hash of `identity`.
QByteArray mark(const QByteArray& identity) {
    return QCryptographicHash::hash(identity, QCryptographicHash::Sha1).toHex().left(8);
}

/// This machine and PID namespace; the same in every run.
QByteArray processSpace() {
    static const QByteArray space = [] {
        QByteArray identity;
        for (const char* file : {"/etc/machine-id", "/var/lib/dbus/machine-id"}) {
            QFile id(QString::fromLatin1(file));
            if (id.open(QIODevice::ReadOnly)) {
                identity = id.readAll().trimmed();
                break;
            }
        }
        if (identity.isEmpty()) {
            std::array<char, HOST_NAME_MAX + 1> host{};
            gethostname(host.data(), host.size() - 1);
            identity = host.data();
        }
        std::array<char, 64> namespaceLink{};
        const ssize_t length =
            readlink("/proc/self/ns/pid", namespaceLink.data(), namespaceLink.size() - 1);
        identity += '|' + QByteArray(namespaceLink.data(), std::max<ssize_t>(length, 0));
        return mark(identity);
    }();
    return space;
}

/// This boot of the machine: PIDs of an earlier one mean nothing now.
QByteArray bootMark() {
    static const QByteArray boot = [] {
        QFile id(QStringLiteral("/proc/sys/kernel/random/boot_id"));
        return mark(id.open(QIODevice::ReadOnly) ? id.readAll().trimmed() : QByteArray());
    }();
    return boot;
}

QByteArray newTemporaryName() {
    return kTemporaryPrefix.toByteArray() + QByteArray::number(getpid()) + '-' + processSpace() +
           '-' + bootMark() + '-' +
           QByteArray::number(QRandomGenerator::global()->generate64(), 36) +
           kTemporarySuffix.toByteArray();
}

/// Whether `name` is a temporary that newTemporaryName() made on this machine, in a run that has
/// ended: in an earlier boot, or its PID is gone. Earlier versions named no boot.
bool temporaryAbandoned(const QByteArray& name) {
    static const QRegularExpression pattern(
        QStringLiteral("^\\.verrabel-([1-9][0-9]{0,8})-([0-9a-f]{8})(?:-([0-9a-f]{8}))?-[0-9a-z]{1,"
                       "13}\\.partial$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(name));
    if (!match.hasMatch() || match.captured(2).toLatin1() != processSpace()) {
        return false;
    }
    if (match.hasCaptured(3) && match.captured(3).toLatin1() != bootMark()) {
        return true;
    }
    const pid_t owner = match.captured(1).toInt();
    return owner != getpid() && kill(owner, 0) != 0 && errno == ESRCH;
}

/// The names in an open folder, read in full: some file systems skip entries that are renamed
/// away while the folder is being read.
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
/// behind. 0, EEXIST when the name turned out someone else's, or why it could not.
int publishOverPlaceholder(int folder, const QByteArray& temporary, const QByteArray& name,
                           bool isFolder, const PublishCalls& calls) {
    if (isFolder) {
        if (mkdirat(folder, name.constData(), S_IRWXU) != 0) {
            return errno;
        }
    } else {
        const int made =
            openat(folder, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (made < 0) {
            return errno;
        }
        close(made);
    }
    struct stat claimed {};
    if (fstatat(folder, name.constData(), &claimed, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno;
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
        calls.renameat2(folder, temporary.constData(), folder, name.constData(), RENAME_EXCHANGE);
        return EEXIST;
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

/// Gives the finished temporary the name `name` unless something already has it: 0, EEXIST
/// when the name is taken, or why it could not.
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

} // namespace

CopyResult FileStore::copy(const QUrl& source, const QString& folder, const PublishCalls& calls) {
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
    const auto fail = [&](const FileError& error) -> CopyResult {
        if (!temporary.isEmpty()) {
            removeTree(target.get(), temporary.constData());
        }
        return {{}, error};
    };
    for (int n = 0; n < kCandidates; ++n) {
        const QByteArray candidate = names.at(n);
        struct stat taken {};
        if (fstatat(target.get(), candidate.constData(), &taken, AT_SYMLINK_NOFOLLOW) == 0) {
            continue;
        }
        if (errno != ENOENT) {
            return fail(systemError(errno));
        }
        if (temporary.isEmpty()) {
            temporary = newTemporaryName();
            if (const auto error =
                    copyTree(parent.get(), name.constData(), target.get(), temporary.constData())) {
                return fail(*error);
            }
        }
        const int published = publish(target.get(), temporary, candidate, calls);
        if (published == 0) {
            return {QFile::decodeName(destination + '/' + candidate), std::nullopt};
        }
        if (published != EEXIST) {
            return fail(systemError(published));
        }
        // Another writer took the name after the check: on to the next number.
    }
    return fail(verrabelError(kTooManyNames, QStringLiteral("同名文件过多，无法保存。")));
}

void FileStore::removeStaleTemporaries(const QString& folder) {
    const Descriptor fd(
        open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.valid()) {
        return;
    }
    for (const QByteArray& name : namesIn(fd.get())) {
        // Only this user's, and only where the run that made it has ended: a live PID of this
        // boot may be another session's Verrabel still writing.
        struct stat info {};
        if (temporaryAbandoned(name) &&
            fstatat(fd.get(), name.constData(), &info, AT_SYMLINK_NOFOLLOW) == 0 &&
            info.st_uid == geteuid()) {
            removeTree(fd.get(), name.constData());
        }
    }
}

} // namespace verrabel
