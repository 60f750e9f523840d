// Choosing rows: clicks, what a drag or the menu of a chosen row takes, and the rows' look of it.

#include "file_list_view.h"
#include "file_row.h"
#include "shelf/shelf_controller.h"

#include <QAccessible>
#include <QScrollArea>

namespace verrabel {

const DesktopListing* ShelfController::shownListing() const {
    const auto* view = qobject_cast<const FileListView*>(scroll->widget());
    return view != nullptr ? view->listing() : nullptr;
}

void ShelfController::clickRow(const QByteArray& name, Qt::KeyboardModifiers keys) {
    const DesktopListing* listing = shownListing();
    if (listing == nullptr) {
        return;
    }
    if (keys.testFlag(Qt::ShiftModifier)) {
        selection.extendTo(name, *listing);
    } else if (keys.testFlag(Qt::ControlModifier)) {
        selection.toggle(name);
    } else {
        selection.choose(name);
    }
    showSelection();
}

void ShelfController::clearSelection() {
    const bool shown = !selection.isEmpty();
    selection.clear();
    if (shown) {
        showSelection();
    }
}

QList<QUrl> ShelfController::itemsFor(const QByteArray& name, const QUrl& url) const {
    const DesktopListing* listing = shownListing();
    if (listing == nullptr || !selection.contains(name)) {
        return {url};
    }
    const QList<QUrl> chosen = selection.urlsInOrder(*listing);
    // A row left over from a list rebuilt under it has only its own item.
    return chosen.contains(url) ? chosen : QList<QUrl>{url};
}

void ShelfController::showSelection() {
    // Only the rows near the visible band exist; the others are drawn when they are made.
    if (QWidget* view = scroll->widget()) {
        for (FileRow* row : view->findChildren<FileRow*>(Qt::FindDirectChildrenOnly)) {
            row->update();
        }
        // Screen readers ask again which rows are selected.
        QAccessibleEvent changed(view, QAccessible::SelectionWithin);
        QAccessible::updateAccessibility(&changed);
    }
}

} // namespace verrabel
