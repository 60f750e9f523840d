#include "listing/desktop_scan.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <fcntl.h>
#include <unistd.h>

namespace verrabel {
namespace {

std::vector<DesktopEntry> entriesNamed(const QStringList& names) {
    std::vector<DesktopEntry> entries;
    for (const QString& name : names) {
        DesktopEntry entry;
        entry.name = name;
        entries.push_back(entry);
    }
    return entries;
}

QStringList namesOf(const std::vector<DesktopEntry>& entries) {
    QStringList names;
    for (const DesktopEntry& entry : entries) {
        names.append(entry.name);
    }
    return names;
}

QStringList ordered(const QStringList& names) {
    auto entries = entriesNamed(names);
    orderByName(entries);
    return namesOf(entries);
}

TEST(NameOrder, IsAFileBrowsersOrderInTheUsersLanguage) {
    using L = QStringList;
    EXPECT_EQ(ordered(L{"b", "A", "file10", "file2"}), (L{"A", "b", "file2", "file10"}));
    // Names equal but for case keep the order the folder listed them in.
    EXPECT_EQ(ordered(L{"notes", "b", "Notes"}), (L{"b", "notes", "Notes"}));
    // Digit runs compare by value, also beyond what 64 bits hold.
    EXPECT_EQ(ordered(L{"x100000000000000000000", "x99999999999999999999", "x3"}),
              (L{"x3", "x99999999999999999999", "x100000000000000000000"}));
    // Chinese collation: Han characters first, in pinyin order (bào gào before zhōng wén); a
    // code-point order would put 中 (U+4E2D) before 报 (U+62A5).
    const QLocale previous;
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
    EXPECT_EQ(ordered(L{"中文", "apple", "报告", "Zebra"}), (L{"报告", "中文", "apple", "Zebra"}));
    QLocale::setDefault(previous);
    // Signature lines: the shortest time that reads back the same, always with a fraction.
    EXPECT_EQ(signatureLine("/d/r.pdf", 1731772800.25, 48213), "/d/r.pdf|1731772800.25|48213");
    EXPECT_EQ(signatureLine("/d/a", 1731772800.0, 0), "/d/a|1731772800.0|0");
    EXPECT_EQ(signatureLine("/d/a", 1700000000.123456789, 1), "/d/a|1700000000.1234567|1");
}

class DesktopFolder : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(m_dir.isValid()); }

    QString path(const QString& name) const { return m_dir.filePath(name); }
    void write(const QString& name, const QByteArray& bytes = {}) const {
        QFile file(path(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    void setModified(const QString& name, time_t seconds, long nanos) const {
        const timespec times[2] = {{seconds, nanos}, {seconds, nanos}};
        ASSERT_EQ(utimensat(AT_FDCWD, QFile::encodeName(path(name)).constData(), times,
                            AT_SYMLINK_NOFOLLOW),
                  0);
    }
    DesktopListing listing() const {
        ScanResult result = scanDesktop(m_dir.path());
        EXPECT_TRUE(std::holds_alternative<DesktopListing>(result));
        return std::get<DesktopListing>(std::move(result));
    }
    std::vector<DesktopEntry> scan() const { return listing().entries; }

    QTemporaryDir m_dir;
};

TEST_F(DesktopFolder, ListsVisibleChildrenWithTheirSignatures) {
    write(QStringLiteral("report.pdf"), QByteArray(48213, 'x'));
    setModified(QStringLiteral("report.pdf"), 1731772800, 250'000'000);
    ASSERT_TRUE(QDir(m_dir.path()).mkpath(QStringLiteral("Project/inner")));
    write(QStringLiteral("Project/inside.txt"));
    setModified(QStringLiteral("Project"), 1731772800, 0);
    write(QStringLiteral(".DS_Store"));
    write(QStringLiteral("desktop.ini"));
    write(QStringLiteral(".hidden"), "desktop.ini\nnot-there\n");

    const DesktopListing scanned = listing();
    const auto& entries = scanned.entries;
    ASSERT_EQ(namesOf(entries), (QStringList{"Project", "report.pdf"}));
    EXPECT_EQ(entries[0].signatureLine, path(QStringLiteral("Project")) + "|1731772800.0|0");
    EXPECT_TRUE(entries[0].isDirectory);
    EXPECT_EQ(entries[1].signatureLine,
              path(QStringLiteral("report.pdf")) + "|1731772800.25|48213");
    EXPECT_EQ(entries[1].size, 48213);
    EXPECT_EQ(entries[1].url, QUrl::fromLocalFile(path(QStringLiteral("report.pdf"))));
    EXPECT_EQ(scanned.signature, entries[0].signatureLine + '\n' + entries[1].signatureLine);
}

TEST_F(DesktopFolder, TheSignatureFollowsChangesAndAnUnlistableFolderFails) {
    write(QStringLiteral("a.txt"), "one");
    setModified(QStringLiteral("a.txt"), 1700000000, 0);
    const QString before = listing().signature;
    setModified(QStringLiteral("a.txt"), 1700000001, 0);
    const QString touched = listing().signature;
    EXPECT_NE(touched, before);
    ASSERT_TRUE(QFile::rename(path(QStringLiteral("a.txt")), path(QStringLiteral("b.txt"))));
    EXPECT_EQ(listing().signature, QString(touched).replace("a.txt", "b.txt"));
    QFile::remove(path(QStringLiteral("b.txt")));
    EXPECT_EQ(listing().signature, QString());

    for (const QString& folder : {path(QStringLiteral("missing")), QString()}) {
        const ScanResult result = scanDesktop(folder);
        ASSERT_TRUE(std::holds_alternative<ScanFailure>(result));
        EXPECT_FALSE(std::get<ScanFailure>(result).description.isEmpty());
    }
}

TEST_F(DesktopFolder, OddItemsAreListedWithoutBeingOpened) {
    const QByteArray folder = QFile::encodeName(m_dir.path());
    const QByteArray invalidUtf8 = folder + "/caf\xe9.txt";
    ASSERT_EQ(close(open(invalidUtf8.constData(), O_CREAT | O_WRONLY, 0644)), 0);
    write(QStringLiteral("two\nlines"));
    write(QString(255, QLatin1Char('n')));
    ASSERT_EQ(symlink("/nowhere/at/all", (folder + "/dangling").constData()), 0);
    ASSERT_EQ(symlink("loop", (folder + "/loop").constData()), 0);
    // Opening a FIFO for reading would block until a writer comes: the scan must not.
    ASSERT_EQ(mkfifo((folder + "/pipe").constData(), 0644), 0);
    const int sock = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray socketPath = folder + "/socket";
    ASSERT_LT(socketPath.size(), static_cast<qsizetype>(sizeof address.sun_path));
    std::copy(socketPath.begin(), socketPath.end(), address.sun_path);
    ASSERT_EQ(bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);

    const auto entries = scan();
    close(sock);
    // QDir cannot name a file that is not UTF-8, so the temporary folder would stay behind.
    unlink(invalidUtf8.constData());
    EXPECT_EQ(entries.size(), 7U);
    const auto special = std::count_if(entries.begin(), entries.end(),
                                       [](const DesktopEntry& entry) { return entry.isSpecial; });
    EXPECT_EQ(special, 2);
    // The URL keeps the name's bytes, so a drag hands over the very file.
    const auto cafe = std::find_if(entries.begin(), entries.end(), [](const DesktopEntry& entry) {
        return entry.url.toEncoded().endsWith("/caf%E9.txt");
    });
    EXPECT_NE(cafe, entries.end());
}

} // namespace
} // namespace verrabel
