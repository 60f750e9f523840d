#pragma once

#include <QWidget>

#include <vector>

namespace verrabel {

/// The scroll view's document: the rows, first at the top. A new one is made for every
/// rebuild of the list.
///
/// Only rows near the visible band are shown. Qt repaints every shown child of a parent
/// against all its siblings, so a Desktop of 100,000 items would stall the window for
/// minutes; hidden rows cost nothing to paint.
class FileListView final : public QWidget {
    Q_OBJECT
public:
    static constexpr int kRowPitch = 54;

    using QWidget::QWidget;

    /// Adds the next row, at its place below the previous one, hidden until it comes near view.
    void addRow(QWidget* row);
    /// Shows the rows within a band's height of the visible band [top, top + height).
    void showRowsAround(int top, int height);

private:
    std::vector<QWidget*> m_rows;
    int m_firstShown = 0;
    int m_endShown = 0;
};

} // namespace verrabel
