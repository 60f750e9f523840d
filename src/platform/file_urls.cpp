#include "file_urls.h"

namespace verrabel {

QUrl fileUrlFromNativePath(const QByteArray& path) {
    return QUrl::fromEncoded("file://" + path.toPercentEncoding("/"), QUrl::StrictMode);
}

QByteArray nativePathOf(const QUrl& url) {
    return QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
}

} // namespace verrabel
