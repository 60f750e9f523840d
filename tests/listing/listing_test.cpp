#include "listing/desktop_scan.h"
#include "listing/file_list_view.h"
#include "listing/file_row.h"
#include "listing/list_accessibility.h"
#include "shelf/controls.h"
#include "support/fake_platform.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QLocale>
#include <QMouseEvent>
#include <QScrollArea>
#include <QScrollBar>

#include <sys/stat.h>

#include <fcntl.h>
#include <unistd.h>

namespace verrabel {
namespace {

QStringList ordered(const QStringList& names) {
    std::vector<DesktopEntry> entries(static_cast<std::size_t>(names.size()));
    for (std::size_t i = 0; i < entries.size(); ++i) {
        entries[i].fileName = names[static_cast<qsizetype>(i)].toUtf8();
    }
    orderByName(entries);
    QStringList result;
    for (const DesktopEntry& entry : entries) {
        result.append(entry.name());
    }
    return result;
}

TEST(NameOrder, IsAFileBrowsersOrderInTheUsersLanguage) {
    using L = QStringList;
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
    EXPECT_EQ(scanned.signature, signatureDigest({path("Project") + "|1731772800.0|0",
                                                  path("report.pdf") + "|1731772800.25|48213"}));

    setModified("report.pdf", 1731772801, 0);
    EXPECT_NE(listing().signature, scanned.signature);
    ASSERT_TRUE(QFile::rename(path("report.pdf"), path("r.pdf")));
    EXPECT_EQ(listing().signature, signatureDigest({path("Project") + "|1731772800.0|0",
                                                    path("r.pdf") + "|1731772801.0|48213"}));
    EXPECT_TRUE(std::holds_alternative<ScanFailure>(scanDesktop(QString()))); // no Desktop
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
    const DesktopListing scanned = listing();
    const auto& entries = scanned.entries;
    // Another name that is not UTF-8 either reads the same once decoded, but is another file.
    ASSERT_EQ(rename(native("") + "/caf\xe9.txt", native("") + "/caf\xe8.txt"), 0);
    EXPECT_NE(listing().signature, scanned.signature);
    unlink(native("") + "/caf\xe8.txt"); // QTemporaryDir cannot name it
    EXPECT_EQ(entries.size(), 7U);
    EXPECT_EQ(std::count_if(entries.begin(), entries.end(), std::mem_fn(&DesktopEntry::isSpecial)),
              2);
    // The URL keeps the name's bytes, so a drag hands over the very file.
    EXPECT_TRUE(std::any_of(entries.begin(), entries.end(), [&scanned](const DesktopEntry& entry) {
        return scanned.urlOf(entry).toEncoded().endsWith("/caf%E9.txt");
    }));
}

class Listing : public testing::ShelfTest {
protected:
    void fill(int count) const {
        for (int i = 0; i < count; ++i) {
            files.write(QStringLiteral("Desktop/item %1").arg(i, 3, 10, QLatin1Char('0')));
        }
    }
    void removeAllBut(int keep) const {
        for (const QString& name : files.names("Desktop").mid(keep)) {
            QFile::remove(files.path("Desktop/" + name));
        }
    }
    /// A rescan, run to the end.
    void rescan() {
        shelf->refresh();
        platform.finishScans();
    }
    FileListView* list() const { return qobject_cast<FileListView*>(shelf->scroll->widget()); }
    QList<FileRow*> rows() const { return list()->findChildren<FileRow*>(); }
    QString listMessage() const {
        const auto* label = list()->findChild<Label*>();
        return label != nullptr ? label->text() : QString();
    }
    QScrollBar* scrollBar() const { return shelf->scroll->verticalScrollBar(); }
    std::unique_ptr<FileRow> row(const QString& name, qint64 size = 1, bool folder = false) {
        DesktopEntry item;
        item.fileName = name.toUtf8();
        item.size = size;
        item.isDirectory = folder;
        return std::make_unique<FileRow>(item, QUrl::fromLocalFile("/home/someone/Desktop/" + name),
                                         shelf.get(), 374, platform.services);
    }
    static void send(QWidget& widget, QEvent::Type type, QPointF at,
                     Qt::MouseButtons held = Qt::LeftButton,
                     Qt::KeyboardModifiers keys = Qt::NoModifier) {
        QMouseEvent event(type, at, at, widget.mapToGlobal(at),
                          type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton, held, keys);
        QCoreApplication::sendEvent(&widget, &event);
    }
};

TEST_F(Listing, EmptyAndUnreadableDesktopsShowAMessageInsteadOfRows) {
    EXPECT_EQ(shelf->count->text(), "0 个项目 · 与桌面同步");
    EXPECT_EQ(listMessage(), "桌面还是空的\n把文件拖到这里，就能存到桌面");
    fill(2);
    rescan();
    ASSERT_TRUE(QDir().rename(files.path("Desktop"), files.path("Away")));
    rescan(); // a failure always replaces the rows
    EXPECT_EQ(shelf->count->text(), "需要授权");
    EXPECT_TRUE(rows().isEmpty());
    EXPECT_EQ(listMessage(), "无法读取桌面\n请在系统设置 → 隐私与安全性 → 文件与文件夹\n"
                             "允许 Verrabel 访问桌面，然后重新打开应用。");
    ASSERT_TRUE(QDir().rename(files.path("Away"), files.path("Desktop")));
    rescan();
    EXPECT_EQ(rows().size(), 2);
}

TEST_F(Listing, RowsStack54PointsApartAndExistOnlyNearTheVisibleBand) {
    const std::pair<int, int> sizes[] = {{4, 236}, {5, 270}, {100, 5400}};
    for (const auto& [items, height] : sizes) {
        removeAllBut(0);
        fill(items);
        rescan();
        EXPECT_EQ(list()->height(), height);
        for (FileRow* row : rows()) {
            EXPECT_EQ(row->geometry(), QRect(0, row->name().mid(5).toInt() * 54, 374, 52));
        }
    }
    // The 230-point visible band, and a band's height above and below it; rows that go far
    // go, those that come near are made.
    const auto made = [this] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QList<int> indices;
        for (FileRow* row : rows()) {
            indices.append(row->y() / 54);
        }
        std::sort(indices.begin(), indices.end());
        return std::pair{indices.constFirst(), indices.constLast()};
    };
    EXPECT_EQ(made(), std::pair(0, 8));   // row 8 begins at 432, within 460
    scrollBar()->setValue(2000);          // rows 37 to 41 in view
    EXPECT_EQ(made(), std::pair(32, 45)); // ending after 1770, beginning before 2460
    EXPECT_EQ(rows().size(), 14);
    // A screen reader meets every item, in order, with or without a row.
    installListAccessibility();
    QAccessibleInterface* items = QAccessible::queryAccessibleInterface(list());
    ASSERT_EQ(items->childCount(), 100);
    EXPECT_EQ(items->child(99)->text(QAccessible::Name), "item 099");
    EXPECT_EQ(items->child(0)->text(QAccessible::Description), "1 bytes"); // Qt's words
    EXPECT_EQ(items->indexOfChild(items->child(99)), 99);
    const QPoint onRow40 = list()->rowAt(40)->mapToGlobal(QPoint(5, 5));
    EXPECT_EQ(items->childAt(onRow40.x(), onRow40.y()), items->child(40));
}

TEST_F(Listing, OneScanAtATimeAndAnUnchangedListingKeepsItsRows) {
    EXPECT_EQ(platform.watchers.watchedPath, files.path("Desktop"));
    fill(3);
    const Date first = platform.clock.time;
    shelf->refresh();
    platform.clock.advance(0.5);
    shelf->refresh(); // dropped: one is in flight
    EXPECT_EQ(queue("Verrabel.scan").items.size(), 1U);
    EXPECT_EQ(shelf->lastRefresh, first);
    platform.finishScans();
    const QPointer<FileRow> top = rows().constFirst();
    QEvent enter(QEvent::Enter);
    QCoreApplication::sendEvent(top, &enter);
    shelf->count->setText(QString());
    rescan();
    EXPECT_EQ(shelf->count->text(), "3 个项目 · 与桌面同步");
    EXPECT_TRUE(top && top->isHovered());

    // While a row is dragged out nothing is drawn, nor asked for by the watcher.
    fill(4);
    shelf->refresh();
    shelf->exporting = true;
    platform.finishScans();
    EXPECT_FALSE(shelf->refreshInFlight); // cleared for every result, drawn or not
    EXPECT_EQ(shelf->count->text(), "3 个项目 · 与桌面同步");
    platform.watchers.onChange();
    EXPECT_TRUE(queue("Verrabel.scan").items.empty());
    shelf->exporting = false;
    platform.watchers.onChange();
    platform.finishScans();
    EXPECT_EQ(shelf->count->text(), "4 个项目 · 与桌面同步");
    EXPECT_TRUE(top.isNull()); // a changed listing rebuilds every row

    // A rebuild keeps the scroll offset, within what the new list allows.
    fill(100);
    rescan();
    scrollBar()->setValue(2000);
    files.write("Desktop/zzz");
    rescan();
    EXPECT_EQ(scrollBar()->value(), 2000);
    EXPECT_NE(list()->rowAt(37), nullptr); // with rows where it is scrolled to
    removeAllBut(6);                       // 324 high, so at most 324 - 230 = 94
    rescan();
    EXPECT_EQ(scrollBar()->value(), 94);
}

TEST_F(Listing, RowsShowSizeOrFolderOpenOnTheSecondClickAndDragOutPastFourPoints) {
    EXPECT_EQ(row("x", 48213)->detail(), "48.2 kB");
    EXPECT_EQ(row("x", 0, true)->detail(), "文件夹");

    const auto file = row("a.txt");
    send(*file, QEvent::MouseButtonPress, {100, 20});
    send(*file, QEvent::MouseButtonDblClick, {100, 20});
    send(*file, QEvent::MouseButtonPress, {100, 20}); // the third click of a triple click
    EXPECT_EQ(platform.workspace.opened, QList{file->url});
    bool exportingDuringDrag = false;
    platform.drags.during = [&] { exportingDuringDrag = shelf->exporting; };
    send(*file, QEvent::MouseMove, {104, 20}); // exactly 4.0: not yet
    EXPECT_TRUE(platform.drags.dragged.isEmpty());
    send(*file, QEvent::MouseMove, {102.5, 23.2}); // about 4.06
    EXPECT_EQ(platform.drags.dragged, QList<QList<QUrl>>{{file->url}});
    EXPECT_TRUE(exportingDuringDrag);
    EXPECT_FALSE(shelf->exporting);            // cleared when the drag ends
    send(*file, QEvent::MouseMove, {150, 40}); // the same press never starts a second drag
    // Only the left button drags, even with a left press remembered from before.
    send(*file, QEvent::MouseButtonPress, {100, 20});
    send(*file, QEvent::MouseButtonRelease, {100, 20});
    send(*file, QEvent::MouseMove, {150, 40}, Qt::RightButton);
    EXPECT_EQ(platform.drags.dragged.size(), 1);
    // Without its controller the row still drags.
    const auto orphan = row("b.txt");
    shelf.reset();
    platform.drags.during = nullptr;
    send(*orphan, QEvent::MouseButtonPress, {100, 20});
    send(*orphan, QEvent::MouseMove, {120, 20});
    EXPECT_EQ(platform.drags.dragged.size(), 2);
}

TEST_F(Listing, ChosenRowsAreDraggedTogetherAndStayChosenUntilTheShelfCollapses) {
    fill(5);
    rescan();
    const auto at = [this](std::size_t index) {
        return static_cast<FileRow*>(list()->rowAt(index));
    };
    const auto click = [](FileRow* row, Qt::KeyboardModifiers keys = Qt::NoModifier) {
        send(*row, QEvent::MouseButtonPress, {100, 20}, Qt::LeftButton, keys);
        send(*row, QEvent::MouseButtonRelease, {100, 20}, Qt::NoButton, keys);
    };
    const auto dragFrom = [](FileRow* row) {
        send(*row, QEvent::MouseButtonPress, {100, 20});
        send(*row, QEvent::MouseMove, {120, 20});
        send(*row, QEvent::MouseButtonRelease, {120, 20}, Qt::NoButton);
    };
    const auto chosen = [&at] {
        QList<bool> flags;
        for (std::size_t index = 0; index < 5; ++index) {
            flags.append(at(index)->isChosen());
        }
        return flags;
    };
    click(at(0), Qt::ControlModifier);
    click(at(2), Qt::ControlModifier);
    // A chosen row drags every chosen one, in the list's order; another row only itself.
    dragFrom(at(2));
    dragFrom(at(1));
    EXPECT_EQ(platform.drags.dragged, (QList<QList<QUrl>>{{at(0)->url, at(2)->url}, {at(1)->url}}));
    EXPECT_EQ(chosen(), (QList<bool>{false, true, false, false, false}));
    // Shift takes the range from the last row clicked; a click on a chosen row, let go of
    // without a drag, chooses it alone.
    click(at(3), Qt::ShiftModifier);
    EXPECT_EQ(chosen(), (QList<bool>{false, true, true, true, false}));
    click(at(2));
    EXPECT_EQ(chosen(), (QList<bool>{false, false, true, false, false}));
    // A rescan keeps it; a click on the empty space, or the shelf collapsing, clears it.
    files.write("Desktop/new");
    rescan();
    EXPECT_EQ(chosen(), (QList<bool>{false, false, true, false, false}));
    send(*list(), QEvent::MouseButtonPress, {100, 5 * FileListView::kRowPitch + 10});
    EXPECT_EQ(chosen(), QList<bool>(5, false));
    click(at(4));
    shelf->showShelf();
    for (const double seconds : {3.0, 1.0}) { // past the shown time, then the collapse delay
        platform.clock.advance(seconds);
        platform.tick();
    }
    EXPECT_FALSE(shelf->expanded);
    EXPECT_TRUE(shelf->selection.isEmpty());
}

} // namespace
} // namespace verrabel
