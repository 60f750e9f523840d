// Turning a scan result into the list of rows and the item count.

#include "desktop_scan.h"
#include "file_list_view.h"
#include "file_row.h"
#include "platform/work_queue.h"
#include "row_thumbnails.h"
#include "shelf/controls.h"
#include "shelf/shelf_controller.h"

#include <QScrollArea>
#include <QScrollBar>

#include <algorithm>

namespace verrabel {

namespace {

constexpr int kListWidth = 374;
constexpr int kMinimumListHeight = 236;

} // namespace

void ShelfController::render(const std::shared_ptr<const ScanResult>& result) {
    const auto* listing = std::get_if<DesktopListing>(result.get());
    if (listing == nullptr) {
        count->setText(QStringLiteral("需要授权"));
        rowsSignature.clear();
        selection.clear();
        auto* view = new FileListView(nullptr, {}, kListWidth, kMinimumListHeight);
        addEmpty(QStringLiteral("无法读取桌面\n请在系统设置 → 隐私与安全性 → 文件与文件夹\n"
                                "允许 Verrabel 访问桌面，然后重新打开应用。"),
                 view);
        showListView(view);
        return;
    }

    const int rows = static_cast<int>(listing->entries.size());
    count->setText(QString::number(rows) + QStringLiteral(" 个项目 · 与桌面同步"));
    if (listing->signature == rowsSignature && scroll->widget() != nullptr) {
        return; // nothing changed: the rows, and a hovered one's highlight, stay as they are
    }
    rowsSignature = listing->signature;
    // The items still there stay chosen in the new rows.
    selection.keepWithin(*listing);

    const int offset = scroll->verticalScrollBar()->value();
    // Rows are made only for what comes into view; the view shares the listing.
    auto* view = new FileListView(
        std::shared_ptr<const DesktopListing>(result, listing),
        [this](const DesktopListing& items, const DesktopEntry& entry) {
            return new FileRow(entry, items.urlOf(entry), this, kListWidth, m_platform,
                               thumbnails.get());
        },
        kListWidth, kMinimumListHeight);
    view->setChosen(
        [this](const DesktopEntry& entry) { return selection.contains(entry.fileName); });
    view->onEmptyClick = [this] { clearSelection(); };
    if (rows == 0) {
        addEmpty(QStringLiteral("桌面还是空的\n把文件拖到这里，就能存到桌面"), view);
    }
    showListView(view);

    const int visibleHeight = scroll->maximumViewportSize().height();
    const int largest = std::max(view->height() - visibleHeight, 0);
    scroll->verticalScrollBar()->setValue(std::min(largest, offset));
    view->showRowsAround(scroll->verticalScrollBar()->value(), visibleHeight);
    connect(scroll->verticalScrollBar(), &QScrollBar::valueChanged, view,
            [view, visibleHeight](int top) { view->showRowsAround(top, visibleHeight); });
}

void ShelfController::addEmpty(const QString& text, QWidget* view) {
    auto* label = new Label(text, view);
    label->setGeometry(10, 75, 354, 100);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    label->setTone(Tone::Secondary);
    label->setPixelFont(13);
}

void ShelfController::showListView(QWidget* view) {
    // The previous document and its rows go with it; rows are never reused. Its listing is let
    // go of on the scan queue: freeing a hundred thousand names takes a while.
    if (auto* previous = qobject_cast<FileListView*>(scroll->widget())) {
        scanQueue->submit([discarded = previous->takeListing()] {});
    }
    scroll->setWidget(view);
    // QScrollArea paints its document's background; the list lies on the frosted panel.
    view->setAutoFillBackground(false);
    // The scroller hides while the rows fit: the list's least height alone scrolls a few points.
    scroll->setVerticalScrollBarPolicy(
        view->height() > kMinimumListHeight ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
}

} // namespace verrabel
