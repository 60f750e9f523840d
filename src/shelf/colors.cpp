#include "colors.h"

namespace verrabel::colors {

QColor label(const QPalette& palette) {
    return palette.color(QPalette::WindowText);
}

QColor secondaryLabel(const QPalette& palette) {
    return withAlpha(label(palette), 0.55);
}

QColor separator(const QPalette& palette) {
    return withAlpha(label(palette), 0.12);
}

QColor accent(const QPalette& palette) {
    return palette.color(QPalette::Highlight);
}

QColor onAccent(const QPalette& palette) {
    return palette.color(QPalette::HighlightedText);
}

QColor withAlpha(QColor color, double alpha) {
    color.setAlphaF(static_cast<float>(alpha));
    return color;
}

} // namespace verrabel::colors
