#pragma once

namespace verrabel {

/// Whether the X display that DISPLAY names can be opened.
[[nodiscard]] bool x11DisplayOpens();

} // namespace verrabel
