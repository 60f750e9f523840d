#pragma once

#include <QString>

#include <optional>

namespace verrabel {

/// Makes the folder and any missing parents, each the user's alone (0700) where it is made;
/// the system's description of why not, if not. A folder already there is fine as it is.
std::optional<QString> makePrivateFolder(const QString& path);

} // namespace verrabel
