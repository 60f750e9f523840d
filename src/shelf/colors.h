#pragma once

#include <QColor>
#include <QPalette>

namespace verrabel::colors {

// The shelf's semantic colours, resolved against the palette now in force so that they follow
// a switch between light and dark.

[[nodiscard]] QColor label(const QPalette& palette);
[[nodiscard]] QColor secondaryLabel(const QPalette& palette);
[[nodiscard]] QColor separator(const QPalette& palette);
[[nodiscard]] QColor accent(const QPalette& palette);
/// Text drawn over the accent colour.
[[nodiscard]] QColor onAccent(const QPalette& palette);
[[nodiscard]] QColor withAlpha(QColor color, double alpha);

} // namespace verrabel::colors
