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
};

/// Verrabel runs on X11, in a Wayland session through Xwayland: Qt's Wayland platform could
/// neither place a window nor read the pointer.
/// `arguments` are the command line's, which may name a platform of the user's own.
[[nodiscard]] Session prepareSession(const QByteArrayList& arguments);

} // namespace verrabel
