// Copies into a folder: which name a copy gets, and the temporaries that copies leave.

#include "file_store.h"

#include "candidate_names.h"
#include "name_publishing.h"
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

} // namespace

CopyResult FileStore::copy(const QUrl& source, const QString& folder, const PublishCalls& calls) {
    // An archive's entry (archive://) or a remote item has a path too, which names something
    // else here.
    if (!source.isLocalFile()) {
        return {{},
                verrabelError(kNotLocal, QStringLiteral("不是本机文件（位于 %1://），无法直接保存。"
                                                        "请先在原应用中把它解压或保存到本机。")
                                             .arg(source.scheme()))};
    }
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
    return giveName(target.get(), destination, name, calls, [&](QByteArray& temporary) {
        temporary = newTemporaryName();
        return copyTree(parent.get(), name.constData(), target.get(), temporary.constData());
    });
}

CopyResult FileStore::move(const QUrl& source, const QString& folder, const PublishCalls& calls) {
    const QByteArray item = cleanPath(nativePathOf(source));
    const QByteArray destination = QFile::encodeName(folder);
    const Descriptor target(open(destination.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!target.valid()) {
        return {{}, systemError(errno)};
    }
    const QByteArray name = nameOf(item);
    bool otherFileSystem = false;
    CopyResult moved = giveName(target.get(), destination, name, calls, [&](QByteArray& temporary) {
        temporary = newTemporaryName();
        if (renameat(AT_FDCWD, item.constData(), target.get(), temporary.constData()) == 0) {
            return std::optional<FileError>();
        }
        otherFileSystem = errno == EXDEV;
        temporary.clear(); // nothing of ours to remove: the item is still where it was
        return std::optional(systemError(errno));
    });
    if (otherFileSystem) {
        return copy(source, folder, calls);
    }
    return moved;
}

CopyResult FileStore::makeStaging(const QString& folder) {
    const QByteArray path = QFile::encodeName(folder) + '/' + newTemporaryName();
    // The user's alone, and named as a temporary: what a crash leaves goes at the next start.
    if (::mkdir(path.constData(), S_IRWXU) != 0) {
        return {{}, systemError(errno)};
    }
    return {QFile::decodeName(path), std::nullopt};
}

CopyResult FileStore::giveName(int target, const QByteArray& destination, const QByteArray& name,
                               const PublishCalls& calls,
                               const std::function<std::optional<FileError>(QByteArray&)>& make) {
    const CandidateNames names(name);
    QByteArray temporary;
    // Where ours went when it took a name and another program's item the temporary one, which
    // then goes on to the next free name.
    QByteArray ours;
    const auto fail = [&](const FileError& error) -> CopyResult {
        if (!ours.isEmpty()) {
            // Theirs found no name of its own: it leaves the temporary name for a plain one.
            const QByteArray plain = temporary.mid(1);
            if (faccessat(target, plain.constData(), F_OK, AT_SYMLINK_NOFOLLOW) != 0) {
                renameat(target, temporary.constData(), target, plain.constData());
            }
            return {QFile::decodeName(destination + '/' + ours), std::nullopt};
        }
        if (!temporary.isEmpty()) {
            removeTree(target, temporary.constData());
        }
        return {{}, error};
    };
    for (int n = 0; n < kCandidates; ++n) {
        const QByteArray candidate = names.at(n);
        struct stat taken {};
        if (fstatat(target, candidate.constData(), &taken, AT_SYMLINK_NOFOLLOW) == 0) {
            continue;
        }
        if (errno != ENOENT) {
            return fail(systemError(errno));
        }
        if (temporary.isEmpty()) {
            if (const auto error = make(temporary)) {
                return fail(*error);
            }
        }
        const int published = publish(target, temporary, candidate, calls);
        if (published == 0) {
            return {QFile::decodeName(destination + '/' + (ours.isEmpty() ? candidate : ours)),
                    std::nullopt};
        }
        if (published == kSwappedWithTheirs) {
            ours = candidate;
            continue;
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
