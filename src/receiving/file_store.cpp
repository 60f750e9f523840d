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
// Hidden, so the listing never shows a half-made copy. The PID and the machine's mark tell
// whose it is: PIDs mean nothing on another host sharing the Desktop, or in a container.
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

/// This machine and PID namespace, in eight hex digits; the same in every run.
QByteArray processSpace() {
    static const QByteArray mark = [] {
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
        return QCryptographicHash::hash(identity, QCryptographicHash::Sha1).toHex().left(8);
    }();
    return mark;
}

QByteArray newTemporaryName() {
    return kTemporaryPrefix.toByteArray() + QByteArray::number(getpid()) + '-' + processSpace() +
           '-' + QByteArray::number(QRandomGenerator::global()->generate64(), 36) +
           kTemporarySuffix.toByteArray();
}

/// The PID that made `name`, if it is a temporary that newTemporaryName() made on this machine.
std::optional<pid_t> temporaryOwner(const QByteArray& name) {
    static const QRegularExpression pattern(
        QStringLiteral("^\\.verrabel-([1-9][0-9]{0,8})-([0-9a-f]{8})-[0-9a-z]{1,13}\\.partial$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromLatin1(name));
    if (!match.hasMatch() || match.captured(2).toLatin1() != processSpace()) {
        return std::nullopt;
    }
    return match.captured(1).toInt();
}

/// Moves what the folder `from` holds into the empty folder `to`, then gives `to` the mode and
/// times of `from` and removes it. Undone as far as it got when a move fails.
int moveChildren(int folder, const char* from, const char* to) {
    const Descriptor source(openat(folder, from, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const Descriptor target(openat(folder, to, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    DIR* directory = source.valid() ? fdopendir(dup(source.get())) : nullptr;
    if (directory == nullptr || !target.valid()) {
        return errno;
    }
    std::vector<QByteArray> moved;
    int failure = 0;
    while (const dirent* entry = readdir(directory)) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        if (renameat(source.get(), entry->d_name, target.get(), entry->d_name) != 0) {
            failure = errno;
            break;
        }
        moved.emplace_back(entry->d_name);
    }
    closedir(directory);
    if (failure != 0) {
        for (const QByteArray& name : moved) {
            renameat(target.get(), name.constData(), source.get(), name.constData());
        }
        return failure;
    }
    struct stat info {};
    fstat(source.get(), &info);
    const std::array<timespec, 2> times{info.st_atim, info.st_mtim};
    fchmod(target.get(), info.st_mode & 01777);
    futimens(target.get(), times.data());
    unlinkat(folder, from, AT_REMOVEDIR);
    return 0;
}

/// Claims `name` with an empty item of our own, made by a call that fails on a taken name, then
/// renames the copy over it: the rename replaces that placeholder and nothing else.
int publishOverPlaceholder(int folder, const QByteArray& temporary, const QByteArray& name,
                           bool isFolder, const PublishCalls& calls) {
    if (isFolder) {
        if (mkdirat(folder, name.constData(), S_IRWXU) != 0) {
            return errno;
        }
    } else {
        const int placeholder =
            openat(folder, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (placeholder < 0) {
            return errno;
        }
        close(placeholder);
    }
    if (calls.renameat2(folder, temporary.constData(), folder, name.constData(), 0) == 0) {
        return 0;
    }
    int failure = errno;
    if (failure == ENOTEMPTY || failure == EEXIST) {
        return EEXIST; // someone filled our placeholder in between: it is theirs now
    }
    if (isFolder) {
        // Some file systems cannot rename a folder over another, even an empty one.
        failure = moveChildren(folder, temporary.constData(), name.constData());
        if (failure == 0) {
            return 0;
        }
    }
    unlinkat(folder, name.constData(), isFolder ? AT_REMOVEDIR : 0);
    return failure;
}

/// Gives the finished temporary the name `name` unless something already has it: 0, EEXIST
/// when the name is taken, or why it could not.
int publish(int folder, const QByteArray& temporary, const QByteArray& name,
            const PublishCalls& calls) {
    if (calls.renameat2(folder, temporary.constData(), folder, name.constData(),
                        RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
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
    DIR* directory = fdopendir(dup(fd.get()));
    if (directory == nullptr) {
        return;
    }
    std::vector<QByteArray> stale;
    while (const dirent* entry = readdir(directory)) {
        const std::optional<pid_t> owner = temporaryOwner(entry->d_name);
        struct stat info {};
        // Only this user's, and only where the run that made it has ended: a live PID may be
        // another session's Verrabel still writing.
        if (!owner || *owner == getpid() ||
            fstatat(fd.get(), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0 ||
            info.st_uid != geteuid() || kill(*owner, 0) == 0 || errno != ESRCH) {
            continue;
        }
        stale.emplace_back(entry->d_name);
    }
    closedir(directory);
    for (const QByteArray& name : stale) {
        removeTree(fd.get(), name.constData());
    }
}

} // namespace verrabel
