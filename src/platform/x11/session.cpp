#include "session.h"

#include <xcb/xcb.h>

#include <algorithm>

namespace verrabel {

Session prepareSession(const QByteArrayList& arguments) {
    // A platform named on the command line is the user's choice.
    if (std::any_of(arguments.begin(), arguments.end(), [](const QByteArray& argument) {
            return argument == "-platform" || argument == "--platform";
        })) {
        return {};
    }
    // Qt would take the Wayland platform for XDG_SESSION_TYPE=wayland, also where
    // WAYLAND_DISPLAY is missing; only a platform other than these is someone's choice.
    const QByteArray chosen = qgetenv("QT_QPA_PLATFORM");
    if (!chosen.isEmpty() && !chosen.startsWith("xcb") && !chosen.contains("wayland")) {
        return {};
    }
    Session session{"xcb", std::nullopt};
    xcb_connection_t* x11 = xcb_connect(nullptr, nullptr);
    const bool opened = xcb_connection_has_error(x11) == 0;
    xcb_disconnect(x11);
    if (!opened) {
        const QString display = qEnvironmentVariableIsEmpty("DISPLAY")
                                    ? QStringLiteral("未设置")
                                    : QStringLiteral("\"%1\"").arg(qEnvironmentVariable("DISPLAY"));
        session.problem = QStringLiteral("Verrabel：无法连接 X 显示（DISPLAY %1）。Verrabel 需要 "
                                         "X11 会话，或 Wayland 会话中的 Xwayland。")
                              .arg(display);
    }
    return session;
}

} // namespace verrabel
