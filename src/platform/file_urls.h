#pragma once

#include <QByteArray>
#include <QUrl>

namespace verrabel {

// File names on Linux are bytes, not always UTF-8. QUrl::fromLocalFile() and toLocalFile()
// go through QString and turn bytes that are not UTF-8 into replacement characters, so the URL
// would name another file. These keep the bytes.

/// The file URL of a path given as the bytes on disk.
[[nodiscard]] QUrl fileUrlFromNativePath(const QByteArray& path);
/// The bytes on disk of a file URL's path.
[[nodiscard]] QByteArray nativePathOf(const QUrl& url);

} // namespace verrabel
