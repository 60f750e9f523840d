#pragma once

#include <QWidget>

namespace verrabel {

/// The scroll view's document: the rows, first at the top. A new one is made for every
/// rebuild of the list, so it keeps no state.
class FileListView final : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;
};

} // namespace verrabel
