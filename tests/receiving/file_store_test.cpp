#include "platform/file_urls.h"
#include "receiving/candidate_names.h"
#include "receiving/file_store.h"
#include "support/files.h"

#include <QDir>
#include <QFile>

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace verrabel {
namespace {

class FileStoreTest : public ::testing::Test, protected testing::Files {
protected:
    void SetUp() override {
        mkdir("Desktop");
        mkdir("source");
    }
    CopyResult copy(const QString& name, const QString& into = "Desktop",
                    const PublishCalls& calls = {}) const {
        return FileStore::copy(QUrl::fromLocalFile(path(name)), path(into), calls);
    }
    QStringList desktop() const { return names("Desktop"); }
};

TEST(CandidateNames, NumberTheBaseAndShortenItToFit) {
    // 83 Chinese characters and ".txt" make 253 bytes: numbered, the name is shortened to fit.
    const QByteArray chinese = QString(83, QChar(0x6587)).toUtf8();
    const std::pair<QByteArray, QByteArray> cases[] = {
        {"archive.tar.gz", "archive.tar (1).gz"},
        {"Notes", "Notes (1)"},
        {".profile", ".profile (1)"}, // no extension, by the standard library's rule
        {chinese + ".txt", chinese.left(246) + " (1).txt"}};
    for (const auto& [name, numbered] : cases) {
        EXPECT_EQ(CandidateNames(name).at(1), numbered);
    }
}

TEST_F(FileStoreTest, TakesTheFirstFreeNameByteForByte) {
    write("source/a.txt");
    for (const char* expected : {"a.txt", "a (1).txt", "a (2).txt"}) {
        EXPECT_EQ(QFileInfo(copy("source/a.txt").path).fileName(), expected);
    }
    QFile::remove(path("Desktop/a (1).txt")); // gaps are filled first
    EXPECT_EQ(QFileInfo(copy("source/a.txt").path).fileName(), "a (1).txt");
    // Names that are not UTF-8 arrive byte for byte.
    const QByteArray latin1 = "/caf\xe9.txt";
    ASSERT_EQ(close(creat(native("source") + latin1, 0644)), 0);
    EXPECT_FALSE(
        FileStore::copy(fileUrlFromNativePath(native("source") + latin1), path("Desktop")).error);
    EXPECT_EQ(unlink(native("Desktop") + latin1), 0); // QTemporaryDir cannot name it
    EXPECT_EQ(unlink(native("source") + latin1), 0);
}

TEST_F(FileStoreTest, StagedItemsMoveInByRenameUnderAFreeName) {
    const CopyResult staging = FileStore::makeStaging(path("Desktop"));
    ASSERT_FALSE(staging.error);
    struct stat folder {};
    ASSERT_EQ(stat(QFile::encodeName(staging.path).constData(), &folder), 0);
    EXPECT_EQ(folder.st_mode & 0777, 0700);
    write("Desktop/big.bin");
    const QString staged = staging.path + "/big.bin";
    write("Desktop/" + QFileInfo(staging.path).fileName() + "/big.bin");
    struct stat before {};
    ASSERT_EQ(stat(QFile::encodeName(staged).constData(), &before), 0);
    const CopyResult moved = FileStore::move(QUrl::fromLocalFile(staged), path("Desktop"));
    ASSERT_FALSE(moved.error);
    EXPECT_EQ(QFileInfo(moved.path).fileName(), "big (1).bin");
    struct stat after {};
    ASSERT_EQ(stat(QFile::encodeName(moved.path).constData(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino); // no second copy
    EXPECT_FALSE(QFile::exists(staged));
    // A staging folder is what the sweep takes once its run has ended, never while it runs.
    FileStore::removeStaleTemporaries(path("Desktop"));
    EXPECT_TRUE(QFileInfo(staging.path).isDir());
}

TEST_F(FileStoreTest, CopiesNothingIntoItselfOrWhereItAlreadyIs) {
    write("Desktop/here.txt", "mine");
    ASSERT_TRUE(QFile::link(path("Desktop"), path("Linked")));
    const QStringList before = desktop();
    for (const char* there : {"Desktop/../Desktop/./here.txt", "Linked/here.txt"}) {
        const CopyResult result = copy(there);
        EXPECT_FALSE(result.error);
        EXPECT_EQ(QFileInfo(result.path).canonicalFilePath(), path("Desktop/here.txt"));
    }
    EXPECT_FALSE(copy("Desktop/here.txt", "Linked").error);
    EXPECT_EQ(desktop(), before);

    const FileError intoItself{"Verrabel", 1, "不能把文件夹复制到它自己里面。"};
    EXPECT_EQ(copy("Desktop").error, intoItself);
    EXPECT_EQ(copy(".").error, intoItself);
    // A sibling whose name begins like the destination's is not its parent.
    mkdir("Desk");
    EXPECT_FALSE(copy("Desk").error);
}

TEST(FileStoreNames, GiveOutAfterTenThousand) {
    // In memory where it can: ten thousand files on disk take seconds here.
    QTemporaryDir dir(QDir("/dev/shm").exists() ? "/dev/shm/verrabel-test-XXXXXX" : QString());
    const QByteArray folder = QFile::encodeName(dir.path());
    for (int n = 0; n <= 9999; ++n) {
        const QByteArray name = n == 0 ? "a.txt" : "a (" + QByteArray::number(n) + ").txt";
        ASSERT_EQ(close(creat(folder + "/" + name, 0644)), 0);
    }
    QTemporaryDir source;
    ASSERT_EQ(close(creat(QFile::encodeName(source.filePath("a.txt")), 0644)), 0);
    EXPECT_EQ(FileStore::copy(QUrl::fromLocalFile(source.filePath("a.txt")), dir.path()).error,
              (FileError{"Verrabel", 2, "同名文件过多，无法保存。"}));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 10'000);
}

// File systems without the no-replace rename (NFS, CIFS, FUSE).
int renameWithoutFlags(int from, const char* fromName, int to, const char* toName, unsigned f) {
    errno = EINVAL;
    return f != 0 ? -1 : ::renameat2(from, fromName, to, toName, 0);
}
template <int kError>
int linkFails(int /*from*/, const char* /*name*/, int /*to*/, const char* /*toName*/, int) {
    errno = kError;
    return -1;
}

TEST_F(FileStoreTest, TwoWritersNeverShareOrReplaceANameOnAnyFileSystem) {
    const QByteArray content(64 * 1024, 'v');
    write("source/same.bin", content);
    write("source/Album/inner/photo.jpg", content);
    const struct {
        const char* fileSystem;
        PublishCalls calls;
    } cases[] = {
        {"local", {}},
        {"hard links only", {renameWithoutFlags, ::linkat}},
        {"no hard links", {renameWithoutFlags, linkFails<EPERM>}},
        {"hard links unsupported", {renameWithoutFlags, linkFails<EOPNOTSUPP>}},
    };
    for (const auto& [fileSystem, calls] : cases) {
        SCOPED_TRACE(fileSystem);
        QDir(path("Desktop")).removeRecursively();
        mkdir("Desktop");
        const auto writer = [this, &calls] {
            for (int i = 0; i < 60; ++i) {
                ASSERT_FALSE(copy("source/same.bin", "Desktop", calls).error);
                ASSERT_FALSE(copy("source/Album", "Desktop", calls).error);
            }
        };
        std::array writers{std::jthread(writer), std::jthread(writer)};
        std::ranges::for_each(writers, &std::jthread::join);
        ASSERT_EQ(desktop().size(), 240); // none replaced, no temporary left
        for (const QString& name : desktop()) {
            const QString file = name.startsWith("Album") ? name + "/inner/photo.jpg" : name;
            ASSERT_EQ(read("Desktop/" + file), content) << file.toStdString();
        }
    }
}

// File systems that rename nothing over a name, not even a folder over our empty placeholder,
// each with the error it gives then; one that checks permissions as for a user, not root.
template <int kError>
int renameNotOver(int from, const char* fromName, int to, const char* toName, unsigned flags) {
    struct stat existing {};
    errno = flags != 0 ? EINVAL : kError;
    if (flags != 0 || fstatat(to, toName, &existing, AT_SYMLINK_NOFOLLOW) == 0) {
        return -1;
    }
    return ::renameat2(from, fromName, to, toName, 0);
}
// A folder that moves to another folder has its ".." rewritten: it must be writable too.
int renameAsAUser(int from, const char* fromName, int to, const char* toName, unsigned flags) {
    struct stat folder {};
    struct stat moving {};
    if ((fstat(from, &folder) == 0 && (folder.st_mode & S_IWUSR) == 0) ||
        (fstatat(from, fromName, &moving, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(moving.st_mode) &&
         (moving.st_mode & S_IWUSR) == 0 && from != to)) {
        errno = EACCES;
        return -1;
    }
    return renameNotOver<EEXIST>(from, fromName, to, toName, flags);
}
int renameFailsOnPhoto(int from, const char* fromName, int to, const char* toName, unsigned f) {
    errno = EIO;
    return std::strcmp(fromName, "photo.jpg") == 0
               ? -1
               : renameNotOver<ENOTEMPTY>(from, fromName, to, toName, f);
}
// One that can swap two names but not rename without replacing; as our copy is swapped in,
// another program has just saved onto that name the atomic way, once after `theirSaveDue`.
// It swaps `swapsLeft` times, if that is not negative.
bool theirSaveDue = false;
int swapsLeft = -1;
int swapAfterTheirSave(int from, const char* fromName, int to, const char* toName, unsigned f) {
    if (f == RENAME_NOREPLACE || (f == RENAME_EXCHANGE && swapsLeft == 0)) {
        errno = f == RENAME_NOREPLACE ? EINVAL : EIO;
        return -1;
    }
    swapsLeft -= f == RENAME_EXCHANGE && swapsLeft > 0 ? 1 : 0;
    if (std::exchange(theirSaveDue, false)) {
        const int theirs = openat(to, "their.tmp", O_WRONLY | O_CREAT | O_EXCL, 0644);
        EXPECT_EQ(write(theirs, "theirs", 6), 6);
        close(theirs);
        EXPECT_EQ(renameat(to, "their.tmp", to, toName), 0);
    }
    return ::renameat2(from, fromName, to, toName, f);
}

TEST_F(FileStoreTest, FallbacksStrandNoPlaceholderReplaceNothingElseAndLoseNoFile) {
    write("source/Album/photo.jpg", "picture");
    write("source/Album/inner/kept.txt", "kept");
    ASSERT_EQ(chmod(native("source/Album/inner"), 0555), 0);
    ASSERT_EQ(chmod(native("source/Album"), 0555), 0);
    write("source/note.txt", "ours");
    const struct {
        const char* fileSystem;
        PublishCalls calls;
    } cases[] = {
        {"EEXIST", {renameNotOver<EEXIST>, linkFails<EPERM>}},
        {"ENOTEMPTY", {renameNotOver<ENOTEMPTY>, linkFails<EPERM>}},
        {"EXDEV", {renameNotOver<EXDEV>, linkFails<EPERM>}},
        {"EACCES, read-only folder", {renameAsAUser, linkFails<EPERM>}},
    };
    for (const auto& [fileSystem, calls] : cases) {
        SCOPED_TRACE(fileSystem);
        QDir(path("Desktop")).removeRecursively();
        mkdir("Desktop");
        // A folder's contents are moved into our placeholder; it keeps its mode.
        ASSERT_FALSE(copy("source/Album", "Desktop", calls).error);
        EXPECT_EQ(read("Desktop/Album/photo.jpg"), "picture");
        EXPECT_EQ(read("Desktop/Album/inner/kept.txt"), "kept");
        struct stat album {};
        EXPECT_EQ(stat(native("Desktop/Album"), &album), 0);
        EXPECT_EQ(album.st_mode & 0777, 0555U);
        EXPECT_EQ(stat(native("Desktop/Album/inner"), &album), 0);
        EXPECT_EQ(album.st_mode & 0777, 0555U);
        // A file fails at once, with the system's word, rather than be written where it would
        // show half-made; its placeholder goes too.
        const auto refused = copy("source/note.txt", "Desktop", calls).error;
        ASSERT_TRUE(refused);
        EXPECT_NE(refused->domain, "Verrabel");
        EXPECT_EQ(desktop(), QStringList{"Album"});
        ASSERT_EQ(chmod(native("Desktop/Album"), 0755), 0);
        ASSERT_EQ(chmod(native("Desktop/Album/inner"), 0755), 0);
    }
    // A move that fails halfway is undone: not saved, and nothing left.
    QDir(path("Desktop")).removeRecursively();
    mkdir("Desktop");
    EXPECT_TRUE(copy("source/Album", "Desktop", {renameFailsOnPhoto, linkFails<EPERM>}).error);
    EXPECT_EQ(desktop(), QStringList());
    // Their save stays; ours takes the next name.
    theirSaveDue = true;
    ASSERT_EQ(copy("source/note.txt", "Desktop", {swapAfterTheirSave, linkFails<EPERM>}).path,
              path("Desktop/note (1).txt"));
    EXPECT_EQ(read("Desktop/note.txt"), "theirs");
    EXPECT_EQ(read("Desktop/note (1).txt"), "ours");
    EXPECT_EQ(desktop(), (QStringList{"note (1).txt", "note.txt"}));
    // Should the swap back fail, ours keeps the name and theirs takes another, not left under
    // a temporary name that a later start would clear away.
    QDir(path("Desktop")).removeRecursively();
    mkdir("Desktop");
    theirSaveDue = true;
    swapsLeft = 1;
    EXPECT_EQ(copy("source/note.txt", "Desktop", {swapAfterTheirSave, linkFails<EPERM>}).path,
              path("Desktop/note.txt"));
    swapsLeft = -1;
    const QStringList names = desktop();
    ASSERT_EQ(names.size(), 2);
    EXPECT_EQ(read("Desktop/note.txt"), "ours");
    EXPECT_FALSE(names.last().startsWith('.'));
    EXPECT_EQ(read("Desktop/" + names.last()), "theirs");
}

TEST_F(FileStoreTest, SpecialFilesFailAtOnceAndAFailedCopyLeavesNothing) {
    // A pipe alone is checked through an import, whose alert gives its text.
    // Halfway through a folder, with a read-only folder already copied: nothing remains.
    write("source/Folder/a/1.txt");
    ASSERT_EQ(chmod(native("source/Folder/a"), 0555), 0);
    ASSERT_EQ(mkfifo(native("source/Folder/z-pipe"), 0644), 0);
    EXPECT_TRUE(copy("source/Folder").error);
    EXPECT_EQ(desktop(), QStringList());
    EXPECT_TRUE(copy("source/missing").error);
}

TEST_F(FileStoreTest, CopiesKeepTreesLinksModesTimesAndHoles) {
    write("source/Tree/sub/data.txt", "payload");
    ASSERT_EQ(chmod(native("source/Tree/sub/data.txt"), 0640), 0);
    ASSERT_EQ(symlink("sub/data.txt", native("source/Tree/link")), 0);
    QFile sparse(path("source/Tree/sparse.img")); // 64 MiB of hole, then one byte
    ASSERT_TRUE(sparse.open(QIODevice::WriteOnly) && sparse.seek(64 << 20));
    sparse.write("!");
    sparse.close();
    const std::array<timespec, 2> old{timespec{1'600'000'000, 0}, timespec{1'600'000'000, 0}};
    for (const char* item : {"source/Tree/sub/data.txt", "source/Tree"}) {
        ASSERT_EQ(utimensat(AT_FDCWD, native(item), old.data(), 0), 0);
    }
    ASSERT_FALSE(copy("source/Tree").error);
    EXPECT_EQ(QFile::symLinkTarget(path("Desktop/Tree/link")), path("Desktop/Tree/sub/data.txt"));
    const auto info = [this](const char* item) {
        struct stat copied {};
        EXPECT_EQ(stat(native(item), &copied), 0);
        return copied;
    };
    EXPECT_EQ(info("Desktop/Tree/sub/data.txt").st_mode & 0777, 0640U);
    EXPECT_EQ(info("Desktop/Tree/sub/data.txt").st_mtim.tv_sec, 1'600'000'000);
    EXPECT_EQ(info("Desktop/Tree").st_mtim.tv_sec, 1'600'000'000);
    EXPECT_EQ(info("Desktop/Tree/sparse.img").st_size, (64 << 20) + 1);
    EXPECT_LT(info("Desktop/Tree/sparse.img").st_blocks * 512, 1 << 20); // holes stayed holes
}

QByteArray seenTemporary;
int recordAndRefuse(int /*from*/, const char* name, int /*to*/, const char* /*to*/, unsigned) {
    seenTemporary = name;
    errno = EIO;
    return -1;
}

TEST_F(FileStoreTest, TheSweepRemovesOnlyWhatEndedRunsOfOursLeft) {
    // A temporary name as this machine makes them, seen through a publish that fails.
    write("source/probe");
    ASSERT_TRUE(copy("source/probe", "Desktop", {recordAndRefuse, ::linkat}).error);
    const QString mark = QString::fromLatin1(seenTemporary).section('-', 2, 2);
    const QString boot = QString::fromLatin1(seenTemporary).section('-', 3, 3);
    ASSERT_EQ(mark.size() + boot.size(), 16) << seenTemporary.toStdString();
    const auto other = [](const QString& ours) {
        return ours == "00000000" ? QStringLiteral("11111111") : QStringLiteral("00000000");
    };
    const auto name = [](const QString& pid, const QString& space, const QString& booted) {
        return QStringLiteral(".verrabel-%1-%2-%3-k3x9.partial").arg(pid, space, booted);
    };
    // PIDs above the kernel's limit have ended; so have those of an earlier boot, PID 1's too;
    // PID 1 and ours of this boot have not.
    mkdir("Desktop/" + name("99999999", mark, boot) + "/inside");
    write("Desktop/" + name("99999998", mark, boot));
    write("Desktop/" + name("1", mark, other(boot)));
    write("Desktop/.verrabel-99999999-" + mark + "-k3x9.partial"); // as earlier versions named them
    QStringList kept{name("1", mark, boot),
                     name(QString::number(getpid()), mark, boot),
                     name("99999999", other(mark), boot), // another host's
                     ".verrabel-99999999-k3x9.partial",
                     name("99999999", mark, boot) + ".bak",
                     name("0099999999", mark, boot),
                     ".verrabel-notes"};
    for (const QString& look : kept) {
        write("Desktop/" + look);
    }
    if (geteuid() == 0) { // another user's: only root can make one
        kept.append(name("99999997", mark, boot));
        write("Desktop/" + kept.last());
        ASSERT_EQ(chown(native("Desktop/" + kept.last()), 12345, 12345), 0);
    }
    FileStore::removeStaleTemporaries(path("Desktop"));
    kept.sort();
    EXPECT_EQ(desktop(), kept);
}

} // namespace
} // namespace verrabel
