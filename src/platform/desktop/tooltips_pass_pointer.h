#pragma once

#include <QObject>

namespace verrabel {

/// Where the pointer is seen only over our own windows, a tooltip is a window of its own, and the
/// pointer over it would be over no window of the shelf's: tooltips let the pointer through to the
/// panel below them. Watches the whole application while it lives.
class TooltipsPassPointer final : public QObject {
public:
    TooltipsPassPointer();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

} // namespace verrabel
