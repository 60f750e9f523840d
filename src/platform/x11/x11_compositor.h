#pragma once

#include "platform/display.h"

namespace verrabel {

/// Asks the X server whether a compositing manager holds its selection.
class X11Compositor final : public Compositor {
public:
    [[nodiscard]] bool isActive() const override;
};

} // namespace verrabel
