// From a pointer move to the top centre (against the top edge, where a desktop's bar leaves the
// shelf only that) until the shelf's window is mapped, as the X server
// sees it: the tool moves the pointer itself (with XTEST; by warping the outer server's pointer
// in a nested Wayland session) and waits for the MapNotify, so no process start-up or polling
// interval blurs the figure. Before each trial the pointer rests REST milliseconds after its last
// move: 800 (the default) is long enough for the hover timer to nap, so the wake-up path is
// measured; 400 measures the timer still ticking, the path of a pointer on the move.
// With "paint", until the shelf is on screen and off again instead: the tool reads one pixel
// where the shelf's body appears until it differs from what is there without it. That sees any
// backend, a native Wayland one in a nested compositor too (DISPLAY then names the outer server),
// compositing included.
// Usage: map_latency [trials] [rest] [paint]   (DISPLAY must name the server Verrabel runs on; in
// a nested Wayland session POINTER_DISPLAY names the outer X server whose pointer the compositor
// follows)

#include <xcb/xcb.h>
#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

struct Display {
    xcb_connection_t* connection;
    xcb_screen_t* screen;
    /// Where the pointer is moved: the same display, or the one a nested compositor follows.
    xcb_connection_t* pointer;
};

void movePointer(const Display& display, int x, int y) {
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(display.pointer)).data->root;
    if (display.pointer == display.connection) {
        xcb_test_fake_input(display.pointer, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root,
                            static_cast<int16_t>(x), static_cast<int16_t>(y), 0);
    } else {
        // A nested compositor takes a device's motion as relative: warp, as a jump is.
        xcb_warp_pointer(display.pointer, XCB_NONE, root, 0, 0, 0, 0, static_cast<int16_t>(x),
                         static_cast<int16_t>(y));
    }
    xcb_flush(display.pointer);
}

bool isShelf(const Display& display, xcb_window_t window) {
    const Reply<xcb_get_property_reply_t> wmClass(
        xcb_get_property_reply(display.connection,
                               xcb_get_property(display.connection, 0, window, XCB_ATOM_WM_CLASS,
                                                XCB_ATOM_STRING, 0, 64),
                               nullptr),
        &std::free);
    const Reply<xcb_get_geometry_reply_t> geometry(
        xcb_get_geometry_reply(display.connection, xcb_get_geometry(display.connection, window),
                               nullptr),
        &std::free);
    if (!wmClass || !geometry || geometry->width != 420 || geometry->height != 350) {
        return false;
    }
    const auto* value = static_cast<const char*>(xcb_get_property_value(wmClass.get()));
    return xcb_get_property_value_length(wmClass.get()) > 0 && std::strcmp(value, "verrabel") == 0;
}

std::optional<xcb_window_t> findShelf(const Display& display) {
    const Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(display.connection,
                             xcb_query_tree(display.connection, display.screen->root), nullptr),
        &std::free);
    if (!tree) {
        return std::nullopt;
    }
    const xcb_window_t* children = xcb_query_tree_children(tree.get());
    for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
        if (isShelf(display, children[i])) {
            return children[i];
        }
    }
    return std::nullopt;
}

using Pixel = std::array<uint8_t, 3>;

/// The pixel where the shelf's body appears.
Pixel probe(const Display& display) {
    const Reply<xcb_get_image_reply_t> image(
        xcb_get_image_reply(display.connection,
                            xcb_get_image(display.connection, XCB_IMAGE_FORMAT_Z_PIXMAP,
                                          display.screen->root,
                                          static_cast<int16_t>(display.screen->width_in_pixels / 2),
                                          150, 1, 1, 0xFFFFFFFF),
                            nullptr),
        &std::free);
    Pixel pixel{};
    if (image && xcb_get_image_data_length(image.get()) >= 3) {
        std::copy_n(xcb_get_image_data(image.get()), 3, pixel.begin());
    }
    return pixel;
}

/// Waits until the pixel differs from `without`, or is it again; when, or nothing on timeout.
std::optional<Clock::time_point> waitForPixel(const Display& display, const Pixel& without,
                                              bool shown, std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
        if ((probe(display) != without) == shown) {
            return Clock::now();
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return std::nullopt;
}

/// Waits for the window to be mapped or unmapped; the time of the event, or nothing on timeout.
std::optional<Clock::time_point> waitFor(const Display& display, uint8_t type,
                                         std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    while (Clock::now() < deadline) {
        while (xcb_generic_event_t* event = xcb_poll_for_event(display.connection)) {
            const uint8_t received = event->response_type & 0x7f;
            std::free(event);
            if (received == type) {
                return Clock::now();
            }
        }
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char* argv[]) {
    const int trials = argc > 1 ? std::atoi(argv[1]) : 50;
    const std::chrono::milliseconds rest(argc > 2 ? std::atoi(argv[2]) : 800);
    const bool byPaint = argc > 3 && std::strcmp(argv[3], "paint") == 0;
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(connection) != 0) {
        std::fprintf(stderr, "map_latency: cannot open the display\n");
        return 2;
    }
    const char* pointerDisplay = std::getenv("POINTER_DISPLAY");
    xcb_connection_t* pointer =
        pointerDisplay != nullptr ? xcb_connect(pointerDisplay, nullptr) : connection;
    if (xcb_connection_has_error(pointer) != 0) {
        std::fprintf(stderr, "map_latency: cannot open the pointer's display\n");
        return 2;
    }
    const Display display{connection, xcb_setup_roots_iterator(xcb_get_setup(connection)).data,
                          pointer};
    const int centre = display.screen->width_in_pixels / 2;
    const int farX = 100;
    const int farY = display.screen->height_in_pixels - 100;
    // Shown and gone: by the window's mapping, or by what the screen shows.
    std::function<std::optional<Clock::time_point>(bool, std::chrono::milliseconds)> waitUntil;
    if (byPaint) {
        movePointer(display, farX, farY);
        std::this_thread::sleep_for(std::chrono::milliseconds(2000)); // any shelf has gone
        waitUntil = [&display, without = probe(display)](bool shown, auto timeout) {
            return waitForPixel(display, without, shown, timeout);
        };
    } else {
        // The pointer goes away onto a window of the tool's own: a nested GNOME Shell tells an
        // X11 window that the pointer left it only when it lands in another one.
        const xcb_window_t away = xcb_generate_id(connection);
        const uint32_t overrideRedirect = 1;
        xcb_create_window(connection, XCB_COPY_FROM_PARENT, away, display.screen->root, farX - 50,
                          farY - 50, 100, 100, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                          XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, &overrideRedirect);
        xcb_map_window(connection, away);
        // The window exists once the shelf has been shown; show it once to find it.
        std::optional<xcb_window_t> shelf;
        for (int attempt = 0; attempt < 50 && !shelf; ++attempt) {
            movePointer(display, centre, 0);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            shelf = findShelf(display);
        }
        if (!shelf) {
            std::fprintf(stderr, "map_latency: no shelf window appeared\n");
            return 1;
        }
        const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
        xcb_change_window_attributes(connection, *shelf, XCB_CW_EVENT_MASK, &mask);
        xcb_flush(connection);
        movePointer(display, farX, farY);
        waitFor(display, XCB_UNMAP_NOTIFY, std::chrono::milliseconds(2000));
        waitUntil = [&display](bool shown, auto timeout) {
            return waitFor(display, shown ? XCB_MAP_NOTIFY : XCB_UNMAP_NOTIFY, timeout);
        };
    }
    auto lastMove = Clock::now();

    std::vector<double> opens;
    std::vector<double> closes;
    for (int trial = 0; trial < trials; ++trial) {
        std::this_thread::sleep_until(lastMove + rest);
        const auto moved = Clock::now();
        movePointer(display, centre, 0);
        const auto mapped = waitUntil(true, std::chrono::milliseconds(6000));
        if (!mapped) {
            std::fprintf(stderr, "map_latency: trial %d never mapped\n", trial);
            return 1;
        }
        opens.push_back(std::chrono::duration<double, std::milli>(*mapped - moved).count());

        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        const auto left = Clock::now();
        movePointer(display, farX, farY);
        lastMove = left;
        const auto unmapped = waitUntil(false, std::chrono::milliseconds(3000));
        if (!unmapped) {
            std::fprintf(stderr, "map_latency: trial %d never unmapped\n", trial);
            return 1;
        }
        closes.push_back(std::chrono::duration<double, std::milli>(*unmapped - left).count());
    }

    const auto report = [](const char* what, std::vector<double> values) {
        std::sort(values.begin(), values.end());
        const auto at = [&values](double q) {
            return values[std::min(values.size() - 1, static_cast<size_t>(q * values.size()))];
        };
        std::printf("%s over %zu trials: median %.1f ms, p95 %.1f ms, max %.1f ms\n", what,
                    values.size(), at(0.5), at(0.95), values.back());
    };
    std::printf("after a rest of %lld ms:\n", static_cast<long long>(rest.count()));
    report(byPaint ? "pointer to top centre -> shelf on screen"
                   : "pointer to top centre -> shelf mapped",
           opens);
    report(byPaint ? "pointer away -> shelf off screen" : "pointer away -> shelf unmapped", closes);
    if (pointer != connection) {
        xcb_disconnect(pointer);
    }
    xcb_disconnect(connection);
    return 0;
}
