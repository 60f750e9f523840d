#include "file_list_view.h"

#include "desktop_scan.h"

#include <algorithm>
#include <utility>

namespace verrabel {

FileListView::FileListView(std::shared_ptr<const DesktopListing> listing, MakeRow makeRow,
                           int width, int minimumHeight)
    : m_listing(std::move(listing))
    , m_makeRow(std::move(makeRow)) {
    resize(width, std::max(static_cast<int>(itemCount()) * kRowPitch, minimumHeight));
}

std::shared_ptr<const DesktopListing> FileListView::takeListing() {
    return std::exchange(m_listing, nullptr);
}

std::size_t FileListView::itemCount() const {
    return m_listing ? m_listing->entries.size() : 0;
}

QWidget* FileListView::rowAt(std::size_t index) const {
    const auto found = m_rows.find(index);
    return found != m_rows.end() ? found->second : nullptr;
}

bool FileListView::isChosen(std::size_t index) const {
    return m_chosen && index < itemCount() && m_chosen(m_listing->entries[index]);
}

void FileListView::mousePressEvent(QMouseEvent* /*event*/) {
    // Rows take their own clicks: this one fell between or below them.
    if (onEmptyClick) {
        onEmptyClick();
    }
}

void FileListView::showRowsAround(int top, int height) {
    const auto count = static_cast<int>(itemCount());
    const auto first = static_cast<std::size_t>(std::clamp((top - height) / kRowPitch, 0, count));
    const auto end = static_cast<std::size_t>(
        std::clamp((top + 2 * height) / kRowPitch + 1, static_cast<int>(first), count));
    for (auto it = m_rows.begin(); it != m_rows.end();) {
        if (it->first < first || it->first >= end) {
            // Later: the row may be the one whose event moved the list.
            it->second->hide();
            it->second->deleteLater();
            it = m_rows.erase(it);
        } else {
            ++it;
        }
    }
    for (std::size_t index = first; index < end; ++index) {
        if (!m_rows.contains(index)) {
            QWidget* row = m_makeRow(*m_listing, m_listing->entries[index]);
            row->setParent(this);
            row->move(0, static_cast<int>(index) * kRowPitch);
            row->show();
            m_rows.emplace(index, row);
        }
    }
}

} // namespace verrabel
