#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QString>

#include <optional>

namespace verrabel {

/// How Verrabel runs in the desktop session, decided before the application exists.
struct Session {
    /// The Qt platform for Verrabel alone, given to the application as an argument: the
    /// programs it opens get the session's own environment. Empty where a platform was chosen on
    /// purpose, such as offscreen.
    QByteArray platform;
    /// Why Verrabel cannot run here, if it cannot.
    std::optional<QString> problem;
    /// Variables Qt's platform reads as it starts, to be set to 1 then and no longer: the
    /// programs Verrabel opens keep the session's environment.
    QByteArrayList startFlags = {};
};

/// In a Wayland session whose compositor offers layer surfaces, and in a build that has the
/// layer-shell backend, Verrabel runs natively; everywhere else on X11, in a Wayland session
/// through Xwayland (Qt's Wayland platform alone can neither place a window at the screen's
/// edge nor see the pointer there). `--backend=layer-shell|xwayland` on the command line, or
/// VERRABEL_BACKEND, forces either. `arguments` are the command line's, which may also name a
/// platform of the user's own.
[[nodiscard]] Session prepareSession(const QByteArrayList& arguments);

/// The name that keeps Verrabel to one per desktop session: `application` and the session's
/// id (XDG_SESSION_ID), else the display it talks to, made fit for a bus name. All of a user's
/// sessions may share one session bus (a remote desktop beside the local one, a second seat).
[[nodiscard]] QString instanceName(const QString& application, const QByteArray& sessionId,
                                   const QByteArray& display);
/// instanceName() for this process.
[[nodiscard]] QString instanceName(const QString& application);

} // namespace verrabel
