// Whatever bytes an image file holds, decoding them for a thumbnail allocates no more than the
// limits allow (libFuzzer's -malloc_limit_mb catches any one allocation past them), and what
// comes out fits the size asked for, in 32 bits per pixel.

#include "listing/thumbnail_decoding.h"

#include <QGuiApplication>

#include <array>
#include <cstdint>
#include <cstdlib>

namespace {

constexpr int kSide = 128;
// Far below the program's own, so that the fuzzer reaches them with inputs it can make.
constexpr verrabel::DecodingLimits kLimits{qint64{1} << 20, qint64{1} << 20, qint64{8} << 20};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    // Drawings with text need fonts, which need a GUI application.
    static int count = 3;
    static std::array<char*, 4> arguments{(*argv)[0], const_cast<char*>("-platform"),
                                          const_cast<char*>("offscreen"), nullptr};
    (void)argc;
    static QGuiApplication application(count, arguments.data());
    verrabel::limitImageAllocations(kLimits);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The first byte chooses the name's kind; the rest is the file.
    static constexpr std::array<const char*, 6> kHints{"png", "jpg", "gif", "webp", "bmp", "svg"};
    if (size == 0) {
        return 0;
    }
    const QByteArray bytes(reinterpret_cast<const char*>(data) + 1,
                           static_cast<qsizetype>(size - 1));
    const verrabel::Decoded decoded =
        verrabel::decodeImage(bytes, kHints.at(data[0] % kHints.size()), kSide, kLimits);
    const QImage& image = decoded.image;
    if (!image.isNull() &&
        (image.width() > kSide || image.height() > kSide || image.depth() != 32)) {
        std::abort();
    }
    return 0;
}
