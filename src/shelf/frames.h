#pragma once

#include <QRect>

namespace verrabel {

/// A designer's frame, with y measured up from the parent's bottom edge, as a Qt geometry
/// (y down from the top) inside a parent of the given height.
constexpr QRect frameInParent(int x, int y, int width, int height, int parentHeight) {
    return {x, parentHeight - y - height, width, height};
}

} // namespace verrabel
