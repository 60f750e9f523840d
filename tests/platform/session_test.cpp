#include "platform/session.h"
#include "platform/window_system.h"

#include <gtest/gtest.h>

namespace verrabel {
namespace {

/// Sets environment variables for the test's length, and puts the old values back.
class Environment {
public:
    void set(const char* name, const QByteArray& value) {
        m_saved.emplace_back(name, qgetenv(name), qEnvironmentVariableIsSet(name));
        value.isNull() ? qunsetenv(name) : qputenv(name, value);
    }
    ~Environment() {
        for (auto it = m_saved.rbegin(); it != m_saved.rend(); ++it) {
            const auto& [name, value, wasSet] = *it;
            wasSet ? qputenv(name, value) : qunsetenv(name);
        }
    }

private:
    std::vector<std::tuple<const char*, QByteArray, bool>> m_saved;
};

TEST(Session, TheBackendAskedForWinsAndOneThatCannotRunSaysWhy) {
    Environment environment;
    environment.set("QT_QPA_PLATFORM", {});
    environment.set("DISPLAY", ":9999");                      // no X server
    environment.set("WAYLAND_DISPLAY", "verrabel-test-none"); // no compositor either
    environment.set("VERRABEL_BACKEND", {});

    // A platform of the user's own is left alone.
    EXPECT_EQ(prepareSession({"verrabel", "-platform", "offscreen"}).platform, QByteArray());
    // Xwayland asked for: X11, and without a display the words say so.
    Session session = prepareSession({"verrabel", "--backend=xwayland"});
    EXPECT_EQ(session.platform, "xcb");
    EXPECT_TRUE(session.problem && session.problem->contains(QStringLiteral("\":9999\"")));
    // Layer-shell asked for, where it cannot be had; the option's two spellings.
    session = prepareSession({"verrabel", "--backend", "layer-shell"});
    ASSERT_TRUE(session.problem);
    EXPECT_EQ(*session.problem,
              layerShellBuilt()
                  ? QStringLiteral("Verrabel：此 Wayland 合成器不提供 layer-shell，无法以 "
                                   "layer-shell 方式运行。")
                  : QStringLiteral("Verrabel：此版本构建时未带 layer-shell 支持。"));
    // The environment asks the same way, Qt's naming xcb too; a name not known is refused.
    environment.set("QT_QPA_PLATFORM", "xcb");
    EXPECT_EQ(prepareSession({"verrabel", "--backend=layer-shell"}).platform, QByteArray());
    EXPECT_EQ(prepareSession({"verrabel"}).platform, "xcb");
    environment.set("VERRABEL_BACKEND", "native");
    session = prepareSession({"verrabel"});
    EXPECT_EQ(
        session.problem,
        QStringLiteral("Verrabel：未知的显示方式 \"native\"（可用：layer-shell、xwayland）。"));
}

TEST(Session, EachDesktopSessionHasAnInstanceNameOfItsOwn) {
    const QString app = QStringLiteral("org.verrabel.Verrabel");
    EXPECT_EQ(instanceName(app, "c2", ":1"), app + ".Session_c2");
    EXPECT_EQ(instanceName(app, {}, ":1.0"), app + ".Display__1_0");
    EXPECT_EQ(instanceName(app, {}, "wayland-1"), app + ".Display_wayland_1");
    EXPECT_NE(instanceName(app, {}, ":1"), instanceName(app, {}, ":2"));
    EXPECT_EQ(instanceName(app, {}, {}), app);
}

} // namespace
} // namespace verrabel
