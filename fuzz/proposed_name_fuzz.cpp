// Whatever name a drag's source proposes, what Verrabel asks it to write is one plain path
// component that fits the file system; a name it keeps is the proposed one.

#include "platform/linux/delivery_watch.h"

#include <climits>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QByteArray proposed(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QString name = verrabel::safeFileName(proposed);
    const QByteArray written = name.toUtf8();
    if (written.isEmpty() || written.size() > NAME_MAX || written.contains('/') ||
        written.contains('\0') || written == "." || written == ".." ||
        (name != QStringLiteral("未命名文件") && name != QString::fromUtf8(proposed))) {
        std::abort();
    }
    return 0;
}
