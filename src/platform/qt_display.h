#pragma once

#include "display.h"

class QScreen;

namespace verrabel {

/// The screens Qt knows, in global y-up points. Linux screens report no camera housing.
class QtScreens final : public Screens {
    Q_OBJECT
public:
    QtScreens();

    [[nodiscard]] QList<ScreenInfo> screens() const override;
    [[nodiscard]] QRect toWindowGeometry(const QRectF& frame) const override;

private:
    void follow(QScreen* screen);
};

class QtPointer final : public Pointer {
public:
    [[nodiscard]] QPointF location() const override;
};

} // namespace verrabel
