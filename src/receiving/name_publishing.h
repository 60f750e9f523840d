#pragma once

#include "file_store.h"

#include <QByteArray>

#include <vector>

namespace verrabel {

/// What publishing says when ours has the name and another program's item our temporary one.
inline constexpr int kSwappedWithTheirs = -1;

/// The names in an open folder, read in full: some file systems skip entries that are renamed
/// away while the folder is being read.
[[nodiscard]] std::vector<QByteArray> namesIn(int folder);

/// Gives the finished temporary in the open `folder` the name `name` unless something already
/// has it: 0, EEXIST when the name is taken, kSwappedWithTheirs, or why it could not.
[[nodiscard]] int publish(int folder, const QByteArray& temporary, const QByteArray& name,
                          const PublishCalls& calls);

} // namespace verrabel
