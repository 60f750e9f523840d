// From a pointer move to the top centre until the shelf is on screen, and from a move away until
// it is gone, as the display shows it: the tool moves the pointer (XTEST) and reads one pixel of
// the screen, where the shelf's body appears, until it differs from what is there without it. This
// sees any backend, a native Wayland one in a nested compositor too, compositing included;
// map_latency's MapNotify is earlier, and exists only for X windows. Usage: paint_latency [trials]
// [rest]   (DISPLAY names the X server that shows it all: the outer one of a nested compositor)

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Screen {
    xcb_connection_t* connection;
    xcb_window_t root;
    int width;
    int height;
};

void movePointer(const Screen& screen, int x, int y) {
    xcb_test_fake_input(screen.connection, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, screen.root,
                        static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
    xcb_flush(screen.connection);
}

using Pixel = std::array<uint8_t, 3>;

/// The pixel where the shelf's body appears.
Pixel probe(const Screen& screen) {
    const std::unique_ptr<xcb_get_image_reply_t, decltype(&std::free)> image(
        xcb_get_image_reply(screen.connection,
                            xcb_get_image(screen.connection, XCB_IMAGE_FORMAT_Z_PIXMAP, screen.root,
                                          static_cast<int16_t>(screen.width / 2), 150, 1, 1,
                                          0xFFFFFFFF),
                            nullptr),
        &std::free);
    Pixel pixel{};
    if (image && xcb_get_image_data_length(image.get()) >= 3) {
        std::copy_n(xcb_get_image_data(image.get()), 3, pixel.begin());
    }
    return pixel;
}

/// Waits until the shelf is shown, or gone: until the pixel differs from `without`, or is it
/// again; when it was first seen so, or nothing on timeout.
std::optional<Clock::time_point> waitUntil(const Screen& screen, const Pixel& without, bool shown,
                                           std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
        if ((probe(screen) != without) == shown) {
            return Clock::now();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char* argv[]) {
    const int trials = argc > 1 ? std::atoi(argv[1]) : 50;
    const std::chrono::milliseconds rest(argc > 2 ? std::atoi(argv[2]) : 800);
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection) != 0) {
        std::fprintf(stderr, "paint_latency: cannot open the display\n");
        return 2;
    }
    const xcb_screen_t* root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    const Screen screen{connection, root->root, root->width_in_pixels, root->height_in_pixels};
    const int centre = screen.width / 2;
    const int farX = 100;
    const int farY = screen.height - 100;

    // The screen there without the shelf: after long enough away for any shelf to go.
    movePointer(screen, farX, farY);
    std::this_thread::sleep_for(std::chrono::milliseconds(2000));
    const Pixel without = probe(screen);
    auto lastMove = Clock::now();
    std::vector<double> opens;
    std::vector<double> closes;
    for (int trial = 0; trial < trials; ++trial) {
        std::this_thread::sleep_until(lastMove + rest);
        const auto moved = Clock::now();
        movePointer(screen, centre, 0);
        const auto shown = waitUntil(screen, without, true, std::chrono::milliseconds(6000));
        if (!shown) {
            std::fprintf(stderr, "paint_latency: trial %d never showed the shelf\n", trial);
            return 1;
        }
        opens.push_back(std::chrono::duration<double, std::milli>(*shown - moved).count());

        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const auto left = Clock::now();
        movePointer(screen, farX, farY);
        lastMove = left;
        const auto gone = waitUntil(screen, without, false, std::chrono::milliseconds(3000));
        if (!gone) {
            std::fprintf(stderr, "paint_latency: trial %d never took the shelf away\n", trial);
            return 1;
        }
        closes.push_back(std::chrono::duration<double, std::milli>(*gone - left).count());
    }

    const auto report = [](const char* what, std::vector<double> values) {
        if (values.empty()) {
            return;
        }
        std::sort(values.begin(), values.end());
        const auto at = [&values](double q) {
            return values[std::min(values.size() - 1, static_cast<size_t>(q * values.size()))];
        };
        std::printf("%s over %zu trials: median %.1f ms, p95 %.1f ms, max %.1f ms\n", what,
                    values.size(), at(0.5), at(0.95), values.back());
    };
    std::printf("after a rest of %lld ms:\n", static_cast<long long>(rest.count()));
    report("pointer to top centre -> shelf on screen", opens);
    report("pointer away -> shelf off screen", closes);
    xcb_disconnect(connection);
    return 0;
}
