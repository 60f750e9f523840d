#include "file_list_view.h"

#include <algorithm>

namespace verrabel {

void FileListView::addRow(QWidget* row) {
    row->setParent(this);
    row->move(0, static_cast<int>(m_rows.size()) * kRowPitch);
    row->hide();
    m_rows.push_back(row);
}

void FileListView::showRowsAround(int top, int height) {
    const int count = static_cast<int>(m_rows.size());
    const int first = std::clamp((top - height) / kRowPitch, 0, count);
    const int end = std::clamp((top + 2 * height) / kRowPitch + 1, first, count);
    for (int i = m_firstShown; i < m_endShown; ++i) {
        if (i < first || i >= end) {
            m_rows[static_cast<std::size_t>(i)]->hide();
        }
    }
    for (int i = first; i < end; ++i) {
        m_rows[static_cast<std::size_t>(i)]->show();
    }
    m_firstShown = first;
    m_endShown = end;
}

} // namespace verrabel
