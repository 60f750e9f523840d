// How long a window's main thread takes to answer: holds a drag that WINDOW cannot take over it
// for SECONDS, moving all the time, and times the answer to each move.
// Usage: xdnd_probe WINDOW X Y SECONDS

#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Client {
    xcb_connection_t* x = xcb_connect(nullptr, nullptr);
    xcb_window_t self = 0;
    std::optional<Clock::time_point> finished;

    /// False when there is no display.
    bool open() {
        if (xcb_connection_has_error(x) != 0) {
            return false;
        }
        self = xcb_generate_id(x);
        const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
        xcb_create_window(x, XCB_COPY_FROM_PARENT, self,
                          xcb_setup_roots_iterator(xcb_get_setup(x)).data->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK,
                          &mask);
        return true;
    }
    ~Client() {
        // The server may drop requests still unread when a client hangs up: let it read them.
        std::free(xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
        xcb_disconnect(x);
    }
    Client() = default;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    xcb_atom_t atom(const char* name) const {
        const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
            xcb_intern_atom_reply(
                x, xcb_intern_atom(x, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
                nullptr),
            &std::free);
        return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
    }

    void send(xcb_window_t to, const char* type, std::uint32_t a, std::uint32_t b,
              std::uint32_t c = 0, std::uint32_t d = 0, std::uint32_t e = 0) const {
        xcb_client_message_event_t message{};
        message.response_type = XCB_CLIENT_MESSAGE;
        message.window = to;
        message.type = atom(type);
        message.format = 32;
        message.data.data32[0] = a;
        message.data.data32[1] = b;
        message.data.data32[2] = c;
        message.data.data32[3] = d;
        message.data.data32[4] = e;
        xcb_send_event(x, 0, to, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char*>(&message));
        xcb_flush(x);
    }

    bool isMessage(const xcb_generic_event_t* event, const char* type) const {
        return (event->response_type & 0x7f) == XCB_CLIENT_MESSAGE &&
               reinterpret_cast<const xcb_client_message_event_t*>(event)->type == atom(type);
    }

    /// Waits up to `seconds` for an event that `wanted` takes; others are dropped, but the
    /// moment the target finishes a drop is noted whatever is waited for.
    template <typename Wanted>
    bool waitFor(double seconds, Wanted wanted) {
        const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
        while (Clock::now() < deadline && xcb_connection_has_error(x) == 0) {
            while (xcb_generic_event_t* event = xcb_poll_for_event(x)) {
                if (!finished && isMessage(event, "XdndFinished")) {
                    finished = Clock::now();
                }
                const bool taken = wanted(event);
                std::free(event);
                if (taken) {
                    return true;
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
        return false;
    }
};

} // namespace

int main(int argc, char* argv[]) {
    Client client;
    if (argc != 5 || !client.open()) {
        std::fprintf(stderr, "usage: xdnd_probe WINDOW X Y SECONDS (with a display)\n");
        return 2;
    }
    const auto target = static_cast<xcb_window_t>(std::strtoul(argv[1], nullptr, 0));
    const int x = std::atoi(argv[2]);
    const int y = std::atoi(argv[3]);
    client.send(target, "XdndEnter", client.self, 5U << 24,
                client.atom("application/x-verrabel-probe"));
    std::vector<double> gaps;
    const auto end = Clock::now() + std::chrono::duration<double>(std::atof(argv[4]));
    for (int step = 0; Clock::now() < end; ++step) {
        const auto asked = Clock::now();
        client.send(target, "XdndPosition", client.self, 0,
                    static_cast<std::uint32_t>((x << 16) | (y + step % 2)), XCB_CURRENT_TIME,
                    client.atom("XdndActionCopy"));
        if (!client.waitFor(30, [&client](const xcb_generic_event_t* event) {
                return client.isMessage(event, "XdndStatus");
            })) {
            break;
        }
        gaps.push_back(std::chrono::duration<double, std::milli>(Clock::now() - asked).count());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    client.send(target, "XdndLeave", client.self, 0);
    if (gaps.empty()) {
        std::fprintf(stderr, "xdnd_probe: the window never answered\n");
        return 1;
    }
    std::sort(gaps.begin(), gaps.end());
    std::printf("main thread answered %zu moves: median %.1f ms, p99 %.1f ms, worst %.1f ms\n",
                gaps.size(), gaps[gaps.size() / 2], gaps[gaps.size() * 99 / 100], gaps.back());
    return 0;
}
