#include "session.h"

#include <xcb/xcb.h>

namespace verrabel {

std::optional<QString> prepareSession() {
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (!qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        (platform.isEmpty() || platform.contains("wayland"))) {
        qputenv("QT_QPA_PLATFORM", "xcb");
    } else if (!platform.isEmpty() && !platform.startsWith("xcb")) {
        return std::nullopt; // a platform chosen on purpose, such as offscreen
    }
    xcb_connection_t* x11 = xcb_connect(nullptr, nullptr);
    const bool opened = xcb_connection_has_error(x11) == 0;
    xcb_disconnect(x11);
    if (opened) {
        return std::nullopt;
    }
    const QString display = qEnvironmentVariableIsEmpty("DISPLAY")
                                ? QStringLiteral("未设置")
                                : QStringLiteral("\"%1\"").arg(qEnvironmentVariable("DISPLAY"));
    return QStringLiteral("Verrabel：无法连接 X 显示（DISPLAY %1）。Verrabel 需要 X11 会话，"
                          "或 Wayland 会话中的 Xwayland。")
        .arg(display);
}

} // namespace verrabel
