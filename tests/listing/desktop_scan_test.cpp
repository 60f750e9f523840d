#include "listing/desktop_scan.h"
#include "support/files.h"

#include <QLocale>

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

namespace verrabel {
namespace {

QStringList ordered(const QStringList& names) {
    std::vector<DesktopEntry> entries(static_cast<std::size_t>(names.size()));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].name = names[static_cast<qsizetype>(i)];
    }
    orderByName(entries);
    QStringList result;
    for (const DesktopEntry& entry : entries) {
        result.append(entry.name);
    }
    return result;
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

class DesktopFolder : public ::testing::Test, protected testing::Files {
protected:
    void setModified(const QString& name, time_t seconds, long nanos) const {
        const timespec times[2] = {{seconds, nanos}, {seconds, nanos}};
        ASSERT_EQ(utimensat(AT_FDCWD, native(name), times, AT_SYMLINK_NOFOLLOW), 0);
    }
    DesktopListing listing() const {
        ScanResult result = scanDesktop(path());
        EXPECT_TRUE(std::holds_alternative<DesktopListing>(result));
        return std::get<DesktopListing>(std::move(result));
    }
};

TEST_F(DesktopFolder, ListsVisibleChildrenWithSignaturesThatFollowChanges) {
    write("report.pdf", QByteArray(48213, 'x'));
    setModified("report.pdf", 1731772800, 250'000'000);
    write("Project/inner/inside.txt");
    setModified("Project", 1731772800, 0);
    write(".DS_Store");
    write("desktop.ini");
    write(".hidden", "desktop.ini\nnot-there\n");
    const DesktopListing scanned = listing();
    const auto& entries = scanned.entries;
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_TRUE(entries[0].isDirectory);
    EXPECT_EQ(entries[0].signatureLine, path("Project") + "|1731772800.0|0");
    EXPECT_EQ(entries[1].signatureLine, path("report.pdf") + "|1731772800.25|48213");
    EXPECT_EQ(entries[1].size, 48213);
    EXPECT_EQ(entries[1].url, QUrl::fromLocalFile(path("report.pdf")));
    EXPECT_EQ(scanned.signature, entries[0].signatureLine + '\n' + entries[1].signatureLine);

    setModified("report.pdf", 1731772801, 0);
    const QString touched = listing().signature;
    EXPECT_NE(touched, scanned.signature);
    ASSERT_TRUE(QFile::rename(path("report.pdf"), path("r.pdf")));
    EXPECT_EQ(listing().signature, QString(touched).replace("report.pdf", "r.pdf"));
    for (const QString& folder : {path("missing"), QString()}) {
        const ScanResult result = scanDesktop(folder);
        ASSERT_TRUE(std::holds_alternative<ScanFailure>(result));
        EXPECT_FALSE(std::get<ScanFailure>(result).description.isEmpty());
    }
}

TEST_F(DesktopFolder, OddItemsAreListedWithoutBeingOpened) {
    ASSERT_EQ(close(creat(native("") + "/caf\xe9.txt", 0644)), 0);
    write("two\nlines");
    write(QString(255, QLatin1Char('n')));
    ASSERT_EQ(symlink("/nowhere/at/all", native("dangling")), 0);
    ASSERT_EQ(symlink("loop", native("loop")), 0);
    // Opening a FIFO for reading would block until a writer comes: the scan must not.
    ASSERT_EQ(mkfifo(native("pipe"), 0644), 0);
    ASSERT_EQ(mknod(native("socket"), S_IFSOCK | 0644, 0), 0);
    const auto entries = listing().entries;
    unlink(native("") + "/caf\xe9.txt"); // QTemporaryDir cannot name it
    EXPECT_EQ(entries.size(), 7U);
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(), std::mem_fn(&DesktopEntry::isSpecial)),
              2);
    // The URL keeps the name's bytes, so a drag hands over the very file.
    EXPECT_TRUE(std::any_of(entries.begin(), entries.end(), [](const DesktopEntry& entry) {
        return entry.url.toEncoded().endsWith("/caf%E9.txt");
    }));
}

} // namespace
} // namespace verrabel
