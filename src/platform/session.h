#pragma once

#include <QString>

#include <optional>

namespace verrabel {

/// Readies Qt for the desktop session, before the application exists. In a Wayland session
/// Verrabel runs on X11 through Xwayland: there Qt's Wayland platform could neither place a
/// window nor read the pointer. Says why Verrabel cannot run, if it cannot.
[[nodiscard]] std::optional<QString> prepareSession();

} // namespace verrabel
