#include "platform/desktop/qt_display.h"
#include "platform/wayland/border_trigger.h"
#include "platform/wayland/wayland_pointer.h"
#include "support/fake_platform.h"

#include <QApplication>
#include <QEnterEvent>
#include <QMouseEvent>
#include <QWidget>
#include <QWindow>

namespace verrabel {
namespace {

struct FakeTrigger final : BorderTrigger {
    explicit FakeTrigger(int& counter)
        : arms(counter) {}
    void arm(QWindow& /*window*/) override { ++arms; }
    void disarm() override { arms = 0; }
    int& arms;
};

QWidget* presenceSurface() {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->windowTitle() == QStringLiteral("Verrabel presence")) {
            return widget;
        }
    }
    return nullptr;
}

TEST(WaylandPointer, SeesThePointerOverItsSurfacesAndForgetsItWhereQtTellsNothing) {
    testing::FakeScreens screens;
    ScreenInfo screen;
    screen.frame = QRectF(0, 0, 800, 600);
    screens.list = {screen};
    testing::FakeFloating floating;
    int arms = 0;
    WaylandPointer pointer(screens, floating,
                           [&arms] { return std::make_unique<FakeTrigger>(arms); });
    QWidget panel;
    panel.setGeometry(200, 30, 400, 300);
    panel.show();
    // The strip along the top edge and the ring around the open panel: the panel takes its own.
    pointer.watch({QRectF(275, 598, 250, 2), QRectF(180, 250, 440, 340)}, panel);
    QWidget* presence = presenceSurface();
    ASSERT_NE(presence, nullptr);
    EXPECT_TRUE(presence->isVisible());
    EXPECT_EQ(presence->geometry(), QRect(180, 0, 440, 350));
    EXPECT_TRUE(presence->mask().contains(QPoint(220, 1)));    // the top edge at the centre
    EXPECT_FALSE(presence->mask().contains(QPoint(120, 100))); // the panel's
    EXPECT_EQ(arms, 0);                                        // open, every move counts

    int arrivals = 0;
    ASSERT_TRUE(pointer.awaitMotion([&arrivals] { ++arrivals; }));
    EXPECT_FALSE(pointer.location()); // over nothing of ours yet
    const auto enter = [](QWidget& window, QPointF at) {
        QEnterEvent event(at, at, at);
        QCoreApplication::sendEvent(window.windowHandle(), &event);
    };
    const auto move = [](QWidget& window, QPointF at) {
        QMouseEvent event(QEvent::MouseMove, at, at, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(window.windowHandle(), &event);
    };
    const auto send = [](QWidget& window, QEvent::Type type) {
        QEvent event(type);
        QCoreApplication::sendEvent(window.windowHandle(), &event);
    };
    // Placed by their geometry, as layer surfaces tell no position.
    enter(panel, {10, 20});
    EXPECT_EQ(pointer.location(), pointOfPixel({210, 50}));
    EXPECT_EQ(arrivals, 1);
    move(*presence, {220, 1});
    EXPECT_EQ(pointer.location(), pointOfPixel({400, 1}));
    send(*presence, QEvent::Leave);
    EXPECT_FALSE(pointer.location());

    // An alert that holds the pointer, and a menu that held it, leave no word of where it went.
    move(panel, {5, 5});
    send(panel, QEvent::WindowBlocked);
    EXPECT_FALSE(pointer.location());
    move(panel, {5, 5});
    QWidget menu(nullptr, Qt::Popup);
    menu.show();
    menu.hide();
    EXPECT_FALSE(pointer.location());
    EXPECT_EQ(arrivals, 1); // told once, until asked again

    // Collapsed, the strip along the top border waits for a push, again after each; a strip
    // below the border cannot be pushed.
    panel.hide();
    pointer.watch({QRectF(275, 598, 250, 2)}, panel);
    EXPECT_EQ(arms, 1);
    send(*presence, QEvent::Leave);
    EXPECT_EQ(arms, 2);
    pointer.watch({QRectF(275, 500, 250, 2)}, panel);
    EXPECT_EQ(arms, 0);

    // A presence surface that the compositor closed (its screen went) is shown again.
    presence->hide();
    QCoreApplication::processEvents();
    EXPECT_TRUE(presence->isVisible());
}

} // namespace
} // namespace verrabel
