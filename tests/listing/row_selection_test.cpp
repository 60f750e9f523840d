#include "listing/desktop_scan.h"
#include "listing/row_selection.h"

#include <gtest/gtest.h>

namespace verrabel {
namespace {

DesktopListing listOf(std::initializer_list<const char*> names) {
    DesktopListing listing;
    listing.folder = "/d";
    for (const char* name : names) {
        listing.entries.push_back({QByteArray(name)});
    }
    return listing;
}

QStringList chosen(const RowSelection& selection, const DesktopListing& listing) {
    QStringList names;
    for (const QUrl& url : selection.urlsInOrder(listing)) {
        names.append(url.fileName());
    }
    return names;
}

TEST(RowSelection, FollowsClicksAsAFileListDoesAndOutlivesARescan) {
    using L = QStringList;
    const DesktopListing list = listOf({"a", "b", "c", "d", "e"});
    RowSelection selection;
    // Shift with nothing clicked before: that row alone.
    selection.extendTo("c", list);
    EXPECT_EQ(chosen(selection, list), L{"c"});
    // Ctrl adds and takes out; the list's order, not the clicks', is the drag's.
    selection.choose("d");
    selection.toggle("a");
    selection.toggle("c");
    EXPECT_EQ(chosen(selection, list), (L{"a", "c", "d"}));
    selection.toggle("a");
    EXPECT_EQ(chosen(selection, list), (L{"c", "d"}));
    // Shift ranges from the last row clicked, upwards too, and measures from it again.
    selection.choose("d");
    selection.extendTo("b", list);
    EXPECT_EQ(chosen(selection, list), (L{"b", "c", "d"}));
    selection.extendTo("e", list);
    EXPECT_EQ(chosen(selection, list), (L{"d", "e"}));
    // A rescan keeps what is still there; a gone anchor makes the next Shift+click a plain one.
    const DesktopListing rescanned = listOf({"a", "b", "c", "e"});
    selection.keepWithin(rescanned);
    EXPECT_EQ(chosen(selection, rescanned), L{"e"});
    selection.extendTo("b", rescanned);
    EXPECT_EQ(chosen(selection, rescanned), L{"b"});
}

} // namespace
} // namespace verrabel
