#pragma once

#include "platform/display.h"

class QScreen;

namespace verrabel {

/// The screens Qt knows, in global y-up points. Linux screens report no camera housing; a
/// desktop's bar along the top edge stands in for it.
class QtScreens final : public Screens {
    Q_OBJECT
public:
    QtScreens();

    [[nodiscard]] QList<ScreenInfo> screens() const override;
    [[nodiscard]] QRect toWindowGeometry(const QRectF& frame) const override;

private:
    void follow(QScreen* screen);
};

/// The pointer anywhere on an X11 display.
class QtPointer final : public Pointer {
public:
    [[nodiscard]] std::optional<QPointF> location() override;
    void watch(const QList<QRectF>& /*zones*/, const QWidget& /*panel*/) override {}
    [[nodiscard]] bool seenOnlyWhereTaken() const override { return false; }
};

/// The primary screen's Qt geometry; empty without screens.
[[nodiscard]] QRect primaryGeometry();
/// The global y-up point at the centre of the pixel that Qt's global `position` names.
[[nodiscard]] QPointF pointOfPixel(const QPointF& position);

} // namespace verrabel
