// Whatever an item is called, each numbered name is one plain path component that fits the file
// system, carries its number, differs from the next one, and stays UTF-8 where the name was.

#include "receiving/candidate_names.h"

#include <QString>

#include <climits>
#include <cstdint>
#include <cstdlib>

namespace {

bool isUtf8(const QByteArray& bytes) {
    return QString::fromUtf8(bytes).toUtf8() == bytes;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) {
        return 0;
    }
    const int n = 1 + ((data[0] << 8) | data[1]) % 9999;
    const QByteArray name(reinterpret_cast<const char*>(data + 2),
                          static_cast<qsizetype>(size - 2));
    if (name.size() > NAME_MAX || name.contains('/') || name.contains('\0') || name == "." ||
        name == "..") {
        return 0; // not a name a file can have
    }
    const verrabel::CandidateNames names(name);
    const QByteArray numbered = names.at(n);
    if (names.at(0) != name || numbered.isEmpty() || numbered.size() > NAME_MAX ||
        numbered.contains('/') || numbered.contains('\0') ||
        !numbered.contains(" (" + QByteArray::number(n) + ")") || numbered == names.at(n + 1) ||
        (isUtf8(name) && !isUtf8(numbered))) {
        std::abort();
    }
    return 0;
}
