// Whatever a drop's URL list holds, a file URL names a path whose bytes come back unchanged
// through a URL made of them: names that are not UTF-8 survive.

#include "platform/file_urls.h"

#include <QUrl>

#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // One line of text/uri-list, as a drop brings it; mostly a file URL, since Qt's own parsing
    // is not instrumented and the fuzzer would hardly find that scheme by itself.
    QByteArray line(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    if (!line.startsWith('!')) {
        line.prepend("file://");
    }
    const QUrl url = QUrl::fromEncoded(line);
    if (!url.isLocalFile()) {
        return 0;
    }
    const QByteArray path = verrabel::nativePathOf(url);
    if (!path.isEmpty() && verrabel::nativePathOf(verrabel::fileUrlFromNativePath(path)) != path) {
        std::abort();
    }
    return 0;
}
