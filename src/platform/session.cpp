#include "session.h"

#include "platform/wayland/wayland_session.h"
#include "platform/window_system.h"
#include "platform/x11/x11_display.h"

#include <algorithm>

namespace verrabel {

namespace {

/// The backend asked for, "layer-shell" or "xwayland"; empty for the automatic choice.
QByteArray backendAskedFor(const QByteArrayList& arguments) {
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QByteArray& argument = arguments.at(i);
        if (argument.startsWith("--backend=")) {
            return argument.mid(argument.indexOf('=') + 1);
        }
        if (argument == "--backend") {
            return arguments.value(i + 1);
        }
    }
    // Qt's own variable naming xcb is a choice of X11 too.
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    return qEnvironmentVariableIsSet("VERRABEL_BACKEND") ? qgetenv("VERRABEL_BACKEND")
           : platform.startsWith("xcb")                  ? QByteArray("xwayland")
                                                         : QByteArray();
}

/// A bus name's element: letters, digits and underscores.
QString busNameElement(const QByteArray& text) {
    QString element;
    for (const char c : text) {
        const bool plain =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        element += plain ? QLatin1Char(c) : QLatin1Char('_');
    }
    return element;
}

} // namespace

QString instanceName(const QString& application, const QByteArray& sessionId,
                     const QByteArray& display) {
    if (!sessionId.isEmpty()) {
        return application + QStringLiteral(".Session_") + busNameElement(sessionId);
    }
    if (!display.isEmpty()) {
        return application + QStringLiteral(".Display_") + busNameElement(display);
    }
    return application;
}

QString instanceName(const QString& application) {
    // The session's own display: in a Wayland session the Wayland one, whichever way Verrabel
    // runs there, so that a start on Xwayland finds a native one and the other way round.
    const QByteArray wayland = qgetenv("WAYLAND_DISPLAY");
    return instanceName(application, qgetenv("XDG_SESSION_ID"),
                        wayland.isEmpty() ? qgetenv("DISPLAY") : wayland);
}

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
    const QByteArray backend = backendAskedFor(arguments);
    if (!backend.isEmpty() && backend != "layer-shell" && backend != "xwayland") {
        return {{},
                QStringLiteral("Verrabel：未知的显示方式 \"%1\"（可用：layer-shell、xwayland）。")
                    .arg(QString::fromLocal8Bit(backend))};
    }
    if (backend != "xwayland" && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY") &&
        layerShellBuilt() && compositorOffersLayerShell()) {
        // Layer surfaces are placed by the geometry Verrabel gives them: Qt is to keep it, not
        // move a window to its screen's corner when it appears on another screen.
        return {"wayland", std::nullopt, {"QT_WAYLAND_DISABLE_FIXED_POSITIONS"}};
    }
    if (backend == "layer-shell") {
        return {{},
                !layerShellBuilt() ? QStringLiteral("Verrabel：此版本构建时未带 layer-shell 支持。")
                : qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
                    ? QStringLiteral("Verrabel：不在 Wayland 会话中（WAYLAND_DISPLAY 未设置），"
                                     "无法以 layer-shell 方式运行。")
                    : QStringLiteral("Verrabel：此 Wayland 合成器不提供 layer-shell，"
                                     "无法以 layer-shell 方式运行。")};
    }
    Session session{"xcb", std::nullopt};
    if (!x11DisplayOpens()) {
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
