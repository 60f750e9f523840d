#include "platform/file_urls.h"
#include "receiving/file_store.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <fcntl.h>
#include <thread>
#include <unistd.h>

namespace verrabel {
namespace {

CopyResult copyItem(const QString& path, const QString& folder) {
    return FileStore::copy(QUrl::fromLocalFile(path), folder);
}

class FileStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(m_root.isValid());
        ASSERT_TRUE(QDir().mkpath(source()));
        ASSERT_TRUE(QDir().mkpath(desktop()));
    }
    QString source(const QString& name = {}) const {
        return m_root.filePath(QStringLiteral("source/") + name);
    }
    QString desktop(const QString& name = {}) const {
        return m_root.filePath(QStringLiteral("Desktop/") + name);
    }
    static void write(const QString& path, const QByteArray& bytes = "x") {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    static QByteArray read(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QStringList desktopNames() const {
        return QDir(desktop()).entryList(
            QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot | QDir::System, QDir::Name);
    }
    /// Copies a fresh source item of that name (a folder when it ends in "/").
    QString saved(const QString& name) const {
        const bool folder = name.endsWith(QLatin1Char('/'));
        const QString path = source(folder ? name.chopped(1) : name);
        QDir(path).removeRecursively();
        QFile::remove(path);
        if (folder) {
            QDir().mkpath(path);
        } else {
            write(path);
        }
        const CopyResult result = copyItem(path, desktop());
        EXPECT_FALSE(result.error) << result.error->description.toStdString();
        return QFileInfo(result.path).fileName();
    }

    QTemporaryDir m_root;
};

TEST_F(FileStoreTest, TakesTheFirstFreeNumberedName) {
    EXPECT_EQ(saved("report.pdf"), "report.pdf");
    EXPECT_EQ(saved("report.pdf"), "report (1).pdf");
    EXPECT_EQ(saved("report.pdf"), "report (2).pdf");
    saved("Notes");
    EXPECT_EQ(saved("Notes"), "Notes (1)");
    saved("archive.tar.gz");
    EXPECT_EQ(saved("archive.tar.gz"), "archive.tar (1).gz");
    saved("Project.old/");
    EXPECT_EQ(saved("Project.old/"), "Project (1).old");
    saved("Tool.app/");
    EXPECT_EQ(saved("Tool.app/"), "Tool (1).app");
    saved(".profile"); // no extension by the standard library's rule
    EXPECT_EQ(saved(".profile"), ".profile (1)");

    // Gaps are filled first.
    write(desktop("a.txt"));
    write(desktop("a (2).txt"));
    EXPECT_EQ(saved("a.txt"), "a (1).txt");

    // 83 Chinese characters and ".txt" are 253 bytes: numbered, the name must be shortened
    // to fit in 255, and not in the middle of a character.
    const QString longName = QString(83, QChar(0x6587)) + ".txt";
    saved(longName);
    const QString numbered = saved(longName);
    EXPECT_TRUE(numbered.endsWith(" (1).txt"));
    EXPECT_LE(numbered.toUtf8().size(), 255);
    EXPECT_FALSE(numbered.contains(QChar::ReplacementCharacter));
}

TEST_F(FileStoreTest, NamesThatAreNotUtf8ArriveByteForByte) {
    const QByteArray name = "caf\xe9.txt";
    const QByteArray path = QFile::encodeName(source()) + name;
    ASSERT_EQ(close(creat(path.constData(), 0644)), 0);
    EXPECT_FALSE(FileStore::copy(fileUrlFromNativePath(path), desktop()).error);
    struct stat copied {};
    EXPECT_EQ(lstat((QFile::encodeName(desktop()) + name).constData(), &copied), 0);
    unlink(path.constData()); // QTemporaryDir cannot remove what QDir cannot name
    unlink((QFile::encodeName(desktop()) + name).constData());
}

TEST_F(FileStoreTest, AnItemAlreadyInTheFolderStaysWhereItIs) {
    write(desktop("here.txt"), "mine");
    const QStringList before = desktopNames();
    CopyResult result = copyItem(desktop("../Desktop/./here.txt"), desktop());
    EXPECT_FALSE(result.error);
    EXPECT_EQ(result.path, desktop("here.txt"));

    // Also when the folder is reached through a symbolic link.
    ASSERT_TRUE(QFile::link(desktop(), m_root.filePath("Linked")));
    result = copyItem(m_root.filePath("Linked/here.txt"), desktop());
    EXPECT_FALSE(result.error);
    result = copyItem(desktop("here.txt"), m_root.filePath("Linked"));
    EXPECT_FALSE(result.error);
    EXPECT_EQ(desktopNames(), before);
}

TEST_F(FileStoreTest, NeverCopiesAFolderIntoItself) {
    const FileError intoItself{"Verrabel", 1, "不能把文件夹复制到它自己里面。"};
    ASSERT_TRUE(QDir().mkpath(desktop("inner/deeper")));
    EXPECT_EQ(copyItem(desktop(), desktop()).error, intoItself);
    EXPECT_EQ(copyItem(m_root.path(), desktop()).error, intoItself);
    EXPECT_EQ(copyItem(desktop("inner"), desktop("inner/deeper")).error, intoItself);

    // A sibling whose name begins like the destination's is not its parent.
    ASSERT_TRUE(QDir().mkpath(m_root.filePath("Desk")));
    EXPECT_FALSE(copyItem(m_root.filePath("Desk"), desktop()).error);
    EXPECT_TRUE(QFileInfo(desktop("Desk")).isDir());
}

TEST(FileStoreNames, GiveOutAfterTenThousand) {
    // Ten thousand files are made in memory where it can: on disk they take seconds here.
    QTemporaryDir dir(QDir("/dev/shm").exists() ? "/dev/shm/verrabel-test-XXXXXX" : QString());
    ASSERT_TRUE(dir.isValid());
    const QByteArray folder = QFile::encodeName(dir.path());
    ASSERT_EQ(close(creat(folder + "/a.txt", 0644)), 0);
    for (int n = 1; n <= 9999; ++n) {
        ASSERT_EQ(close(creat(folder + "/a (" + QByteArray::number(n) + ").txt", 0644)), 0);
    }
    QTemporaryDir source;
    ASSERT_EQ(close(creat(QFile::encodeName(source.filePath("a.txt")), 0644)), 0);

    const CopyResult result = copyItem(source.filePath("a.txt"), dir.path());
    EXPECT_EQ(result.error, (FileError{"Verrabel", 2, "同名文件过多，无法保存。"}));
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden).size(), 10'000);
}

// File systems without the no-replace rename (NFS, CIFS, FUSE), with and without hard links.
int renameWithoutNoReplace(int from, const char* fromName, int to, const char* toName,
                           unsigned int flags) {
    if ((flags & RENAME_NOREPLACE) != 0) {
        errno = EINVAL;
        return -1;
    }
    return ::renameat2(from, fromName, to, toName, flags);
}
int noRenameAtAll(int /*from*/, const char* /*fromName*/, int /*to*/, const char* /*toName*/,
                  unsigned int /*flags*/) {
    errno = EINVAL;
    return -1;
}
int linkNotPermitted(int /*from*/, const char* /*fromName*/, int /*to*/, const char* /*toName*/,
                     int /*flags*/) {
    errno = EPERM;
    return -1;
}
int linkNotSupported(int /*from*/, const char* /*fromName*/, int /*to*/, const char* /*toName*/,
                     int /*flags*/) {
    errno = EOPNOTSUPP;
    return -1;
}

TEST_F(FileStoreTest, TwoWritersNeverShareOrOverwriteANameOnAnyFileSystem) {
    QByteArray content(64 * 1024, Qt::Uninitialized);
    QRandomGenerator(7).fillRange(reinterpret_cast<quint32*>(content.data()), content.size() / 4);
    write(source("same.bin"), content);
    ASSERT_TRUE(QDir().mkpath(source("Album/inner")));
    write(source("Album/inner/photo.jpg"), content);

    const struct {
        const char* fileSystem;
        PublishCalls calls;
    } cases[] = {
        {"local", {}},
        {"hard links only", {renameWithoutNoReplace, ::linkat}},
        {"no hard links", {renameWithoutNoReplace, linkNotPermitted}},
        {"hard links unsupported", {renameWithoutNoReplace, linkNotSupported}},
    };
    for (const auto& [fileSystem, calls] : cases) {
        SCOPED_TRACE(fileSystem);
        QDir(desktop()).removeRecursively();
        ASSERT_TRUE(QDir().mkpath(desktop()));
        const auto writer = [this, &calls] {
            for (int i = 0; i < 60; ++i) {
                for (const char* item : {"same.bin", "Album"}) {
                    const CopyResult result =
                        FileStore::copy(QUrl::fromLocalFile(source(item)), desktop(), calls);
                    ASSERT_FALSE(result.error) << result.error->description.toStdString();
                }
            }
        };
        std::thread first(writer);
        std::thread second(writer);
        first.join();
        second.join();

        const QStringList names = desktopNames();
        ASSERT_EQ(names.size(), 240);
        for (const QString& name : names) {
            ASSERT_FALSE(name.startsWith('.')) << name.toStdString(); // no temporary left
            const QString file = name.startsWith("Album") ? name + "/inner/photo.jpg" : name;
            ASSERT_EQ(read(desktop(file)), content) << file.toStdString();
        }
    }

    // Nothing can rename over even our own empty placeholder: folders still arrive, their
    // contents moved in; a file fails rather than be written where it would show half-made.
    QDir(desktop()).removeRecursively();
    ASSERT_TRUE(QDir().mkpath(desktop()));
    const PublishCalls stuck{noRenameAtAll, linkNotPermitted};
    EXPECT_FALSE(FileStore::copy(QUrl::fromLocalFile(source("Album")), desktop(), stuck).error);
    EXPECT_EQ(read(desktop("Album/inner/photo.jpg")), content);
    EXPECT_TRUE(FileStore::copy(QUrl::fromLocalFile(source("same.bin")), desktop(), stuck).error);
    EXPECT_EQ(desktopNames(), QStringList{"Album"});
}

TEST_F(FileStoreTest, SpecialFilesFailAtOnceAndAFailedCopyLeavesNothing) {
    ASSERT_EQ(mkfifo(QFile::encodeName(source("pipe")).constData(), 0644), 0);
    // Opening a FIFO would wait for a writer; the copy must not.
    const CopyResult pipe = copyItem(source("pipe"), desktop());
    ASSERT_TRUE(pipe.error);
    EXPECT_EQ(pipe.error->code, FileStore::kSpecialFile);
    EXPECT_EQ(pipe.error->description, "不能保存特殊文件（管道、套接字或设备）。");

    // A folder whose copy fails halfway: neither the folder nor its temporary remains, even
    // with a read-only folder already copied into it.
    ASSERT_TRUE(QDir().mkpath(source("Folder/a")));
    write(source("Folder/a/1.txt"));
    ASSERT_EQ(chmod(QFile::encodeName(source("Folder/a")).constData(), 0555), 0);
    ASSERT_EQ(mkfifo(QFile::encodeName(source("Folder/z-pipe")).constData(), 0644), 0);
    EXPECT_TRUE(copyItem(source("Folder"), desktop()).error);
    EXPECT_EQ(desktopNames(), QStringList());

    const CopyResult missing = copyItem(source("missing"), desktop());
    ASSERT_TRUE(missing.error);
    EXPECT_EQ(missing.error->domain, "POSIX");
    EXPECT_EQ(missing.error->code, ENOENT);
}

TEST_F(FileStoreTest, CopiesKeepTreesLinksModesTimesAndHoles) {
    ASSERT_TRUE(QDir().mkpath(source("Tree/sub")));
    write(source("Tree/sub/data.txt"), "payload");
    ASSERT_EQ(chmod(QFile::encodeName(source("Tree/sub/data.txt")).constData(), 0640), 0);
    ASSERT_EQ(symlink("sub/data.txt", QFile::encodeName(source("Tree/link")).constData()), 0);
    // A 64 MiB file with one byte of data at its end.
    {
        QFile sparse(source("Tree/sparse.img"));
        ASSERT_TRUE(sparse.open(QIODevice::WriteOnly));
        ASSERT_TRUE(sparse.seek(64 << 20));
        sparse.write("!");
    }
    const timespec old[2] = {{1'600'000'000, 0}, {1'600'000'000, 0}};
    ASSERT_EQ(
        utimensat(AT_FDCWD, QFile::encodeName(source("Tree/sub/data.txt")).constData(), old, 0), 0);
    ASSERT_EQ(utimensat(AT_FDCWD, QFile::encodeName(source("Tree")).constData(), old, 0), 0);

    ASSERT_FALSE(copyItem(source("Tree"), desktop()).error);
    EXPECT_EQ(read(desktop("Tree/sub/data.txt")), "payload");
    EXPECT_EQ(QFile::symLinkTarget(desktop("Tree/link")), desktop("Tree/sub/data.txt"));
    EXPECT_TRUE(QFileInfo(desktop("Tree/link")).isSymLink());

    struct stat copied {};
    ASSERT_EQ(stat(QFile::encodeName(desktop("Tree/sub/data.txt")).constData(), &copied), 0);
    EXPECT_EQ(copied.st_mode & 0777, 0640U);
    EXPECT_EQ(copied.st_mtim.tv_sec, 1'600'000'000);
    ASSERT_EQ(stat(QFile::encodeName(desktop("Tree")).constData(), &copied), 0);
    EXPECT_EQ(copied.st_mtim.tv_sec, 1'600'000'000);
    ASSERT_EQ(stat(QFile::encodeName(desktop("Tree/sparse.img")).constData(), &copied), 0);
    EXPECT_EQ(copied.st_size, (64 << 20) + 1);
    EXPECT_LT(copied.st_blocks * 512, 1 << 20); // holes stayed holes
}

QByteArray seenTemporary;
int recordAndRefuse(int /*from*/, const char* fromName, int /*to*/, const char* /*toName*/,
                    unsigned int /*flags*/) {
    seenTemporary = fromName;
    errno = EIO;
    return -1;
}

TEST_F(FileStoreTest, TheSweepRemovesOnlyWhatEndedRunsOfOursLeft) {
    // A temporary name as this machine makes them, seen through a publish that fails.
    write(source("probe"));
    ASSERT_TRUE(FileStore::copy(QUrl::fromLocalFile(source("probe")), desktop(),
                                {recordAndRefuse, ::linkat})
                    .error);
    const QStringList parts = QString::fromLatin1(seenTemporary).split('-');
    ASSERT_EQ(parts.size(), 4) << seenTemporary.toStdString();
    const QString mark = parts[2];
    const auto name = [](const QString& pid, const QString& space) {
        return QStringLiteral(".verrabel-%1-%2-k3x9.partial").arg(pid, space);
    };

    // PIDs above the kernel's limit have ended; PID 1 has not.
    const QString ended = name("99999999", mark);
    ASSERT_TRUE(QDir().mkpath(desktop(ended + "/inside")));
    write(desktop(name("99999998", mark)));
    const QStringList kept{
        name("1", mark),
        name(QString::number(getpid()), mark),
        name("99999999", mark == "00000000" ? "11111111" : "00000000"), // another host's
        ".verrabel-99999999-k3x9.partial",
        name("99999999", mark) + ".bak",
        name("0099999999", mark),
        ".verrabel-notes",
    };
    for (const QString& look : kept) {
        write(desktop(look));
    }
    if (geteuid() == 0) { // another user's: only root can make one
        const QString theirs = name("99999997", mark);
        write(desktop(theirs));
        ASSERT_EQ(chown(QFile::encodeName(desktop(theirs)).constData(), 12345, 12345), 0);
        FileStore::removeStaleTemporaries(desktop());
        EXPECT_TRUE(QFileInfo::exists(desktop(theirs)));
        QFile::remove(desktop(theirs));
    }
    FileStore::removeStaleTemporaries(desktop());
    QStringList expected = kept;
    expected.sort();
    EXPECT_EQ(desktopNames(), expected);
}

} // namespace
} // namespace verrabel
