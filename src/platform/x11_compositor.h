#pragma once

#include "display.h"

#include <cstdint>

namespace verrabel {

/// Asks the X server whether a compositing manager holds its selection.
class X11Compositor final : public Compositor {
public:
    [[nodiscard]] bool isActive() const override;

private:
    mutable std::uint32_t m_selection = 0;
};

} // namespace verrabel
