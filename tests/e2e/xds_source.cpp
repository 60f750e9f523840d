// A drag source of the tests' own, speaking XDND and X Direct Save with timing that real
// applications do not offer on demand.
//
//   xds_source drop WINDOW X Y NAME ANSWER FROM [BURSTS PAUSE DELAY]
//     Drops a promised file NAME onto WINDOW at the root point X,Y. Asked to save it, writes the
//     bytes of the file FROM there in BURSTS bursts (closing the file between them) with PAUSE
//     seconds between, waits DELAY seconds, then answers ANSWER: S, E, none (never answers), or
//     F (answers at once and sends the bytes itself, incrementally, when asked).
//   xds_source probe WINDOW X Y SECONDS
//     Holds a drag that WINDOW cannot take over it for SECONDS, moving all the time, and prints
//     how long WINDOW's main thread took to answer each move: its worst gap.

#include <xcb/xcb.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

constexpr std::size_t kChunk = 64 * 1024;

xcb_connection_t* x = nullptr;
xcb_window_t self = 0;
/// When the target said the drop is over; seen whatever else is being waited for.
std::optional<Clock::time_point> finishedAt;

bool isMessage(const xcb_generic_event_t* event, const char* type);

xcb_atom_t atom(const char* name) {
    const Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(
            x, xcb_intern_atom(x, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

void send(xcb_window_t to, const char* type, std::uint32_t a, std::uint32_t b, std::uint32_t c,
          std::uint32_t d, std::uint32_t e) {
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

/// Waits for an event that `wanted` takes, up to `seconds`; all others are dropped.
template <typename Wanted>
bool waitFor(double seconds, Wanted wanted) {
    const auto deadline = Clock::now() + std::chrono::duration<double>(seconds);
    while (Clock::now() < deadline) {
        while (xcb_generic_event_t* event = xcb_poll_for_event(x)) {
            if (!finishedAt && isMessage(event, "XdndFinished")) {
                finishedAt = Clock::now();
            }
            const bool taken = wanted(event);
            std::free(event);
            if (taken) {
                return true;
            }
        }
        if (xcb_connection_has_error(x) != 0) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return false;
}

bool isMessage(const xcb_generic_event_t* event, const char* type) {
    return (event->response_type & 0x7f) == XCB_CLIENT_MESSAGE &&
           reinterpret_cast<const xcb_client_message_event_t*>(event)->type == atom(type);
}

/// A server time stamp, from a property change of our own.
xcb_timestamp_t now() {
    xcb_change_property(x, XCB_PROP_MODE_APPEND, self, XCB_ATOM_WM_NAME, XCB_ATOM_STRING, 8, 0, "");
    xcb_flush(x);
    xcb_timestamp_t time = XCB_CURRENT_TIME;
    waitFor(2, [&time](const xcb_generic_event_t* event) {
        if ((event->response_type & 0x7f) != XCB_PROPERTY_NOTIFY) {
            return false;
        }
        time = reinterpret_cast<const xcb_property_notify_event_t*>(event)->time;
        return true;
    });
    return time;
}

/// Starts a drag of `type` over `target` at the root point: enter, then one position.
void enter(xcb_window_t target, const char* type, int px, int py, xcb_timestamp_t time) {
    send(target, "XdndEnter", self, 5U << 24, atom(type), XCB_ATOM_NONE, XCB_ATOM_NONE);
    send(target, "XdndPosition", self, 0, (px << 16) | py, time, atom("XdndActionCopy"));
    waitFor(5, [](const xcb_generic_event_t* event) { return isMessage(event, "XdndStatus"); });
}

std::string pathOfUrl(const std::string& url) {
    std::string path;
    const std::size_t start = url.find("://");
    for (std::size_t i = url.find('/', start == std::string::npos ? 0 : start + 3); i < url.size();
         ++i) {
        if (url[i] == '%' && i + 2 < url.size()) {
            path += static_cast<char>(std::stoi(url.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            path += url[i];
        }
    }
    return path;
}

void reply(const xcb_selection_request_event_t& request, xcb_atom_t property) {
    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    notify.property = property;
    xcb_send_event(x, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&notify));
    xcb_flush(x);
}

/// Sends `bytes` as the INCR transfer the protocol has for data too large for one property.
void sendIncrementally(const xcb_selection_request_event_t& request, const std::string& bytes) {
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(x, request.requestor, XCB_CW_EVENT_MASK, &mask);
    const auto size = static_cast<std::uint32_t>(bytes.size());
    xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, request.property, atom("INCR"),
                        32, 1, &size);
    reply(request, request.property);
    for (std::size_t offset = 0;; offset += kChunk) {
        // The requestor deletes the property for each next piece.
        if (!waitFor(10, [&request](const xcb_generic_event_t* event) {
                const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event);
                return (event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY &&
                       change->window == request.requestor && change->atom == request.property &&
                       change->state == XCB_PROPERTY_DELETE;
            })) {
            std::fprintf(stderr, "xds_source: the transfer stalled\n");
            return;
        }
        const std::size_t length = std::min(kChunk, bytes.size() - std::min(offset, bytes.size()));
        xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            request.target, 8, static_cast<std::uint32_t>(length),
                            bytes.data() + std::min(offset, bytes.size()));
        xcb_flush(x);
        if (length == 0) {
            return;
        }
    }
}

int drop(xcb_window_t target, int px, int py, char** args) {
    const std::string name = args[0];
    const std::string answer = args[1];
    std::ifstream from(args[2], std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(from)),
                            std::istreambuf_iterator<char>());
    const int bursts = args[3] != nullptr ? std::atoi(args[3]) : 1;
    const double pause = args[3] != nullptr ? std::atof(args[4]) : 0;
    const double delay = args[3] != nullptr ? std::atof(args[5]) : 0;

    xcb_change_property(x, XCB_PROP_MODE_REPLACE, self, atom("XdndDirectSave0"), atom("text/plain"),
                        8, static_cast<std::uint32_t>(name.size()), name.data());
    const xcb_timestamp_t time = now();
    xcb_set_selection_owner(x, self, atom("XdndSelection"), time);
    enter(target, "XdndDirectSave0", px, py, time);
    const auto dropped = Clock::now();
    send(target, "XdndDrop", self, 0, time, 0, 0);
    std::printf("dropped\n");
    std::fflush(stdout);

    bool done = false;
    std::thread writer;
    while (!(finishedAt && done) && waitFor(30, [&](const xcb_generic_event_t* event) {
        if (isMessage(event, "XdndFinished")) {
            return true;
        }
        if ((event->response_type & 0x7f) != XCB_SELECTION_REQUEST) {
            return false;
        }
        const auto request = *reinterpret_cast<const xcb_selection_request_event_t*>(event);
        if (request.target == atom("application/octet-stream") && answer == "F") {
            sendIncrementally(request, bytes);
            done = true;
        } else if (request.target != atom("XdndDirectSave0")) {
            reply(request, XCB_NONE);
        } else {
            const Reply<xcb_get_property_reply_t> url(
                xcb_get_property_reply(x,
                                       xcb_get_property(x, 0, self, atom("XdndDirectSave0"),
                                                        XCB_GET_PROPERTY_TYPE_ANY, 0, 1024),
                                       nullptr),
                &std::free);
            const std::string path =
                pathOfUrl(std::string(static_cast<const char*>(xcb_get_property_value(url.get())),
                                      xcb_get_property_value_length(url.get())));
            // Written aside, so that the drop's end is seen when it comes.
            writer = std::thread([=, &bytes] {
                for (int burst = 0; answer != "F" && answer != "E" && burst < bursts; ++burst) {
                    if (burst > 0) {
                        std::this_thread::sleep_for(std::chrono::duration<double>(pause));
                    }
                    std::ofstream file(path, std::ios::binary | std::ios::app);
                    const std::size_t share = bytes.size() / bursts;
                    file << bytes.substr(burst * share,
                                         burst + 1 == bursts ? std::string::npos : share);
                }
                std::this_thread::sleep_for(std::chrono::duration<double>(delay));
                if (answer != "none") {
                    xcb_change_property(x, XCB_PROP_MODE_REPLACE, request.requestor,
                                        request.property, request.target, 8, 1, answer.data());
                    reply(request, request.property);
                }
            });
            done = answer != "F";
        }
        return true;
    })) {
    }
    if (writer.joinable()) {
        writer.join();
    }
    if (!finishedAt) {
        std::fprintf(stderr, "xds_source: the drop never finished\n");
        return 1;
    }
    std::printf("the drop held the target for %.1f ms\n",
                std::chrono::duration<double, std::milli>(*finishedAt - dropped).count());
    return done ? 0 : 1;
}

int probe(xcb_window_t target, int px, int py, double seconds) {
    send(target, "XdndEnter", self, 5U << 24, atom("application/x-verrabel-probe"), XCB_ATOM_NONE,
         XCB_ATOM_NONE);
    std::vector<double> gaps;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    for (int step = 0; Clock::now() < end; ++step) {
        const auto asked = Clock::now();
        send(target, "XdndPosition", self, 0, (px << 16) | (py + step % 2), XCB_CURRENT_TIME,
             atom("XdndActionCopy"));
        if (!waitFor(30, [](const xcb_generic_event_t* event) {
                return isMessage(event, "XdndStatus");
            })) {
            break;
        }
        gaps.push_back(std::chrono::duration<double, std::milli>(Clock::now() - asked).count());
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    send(target, "XdndLeave", self, 0, 0, 0, 0);
    if (gaps.empty()) {
        std::fprintf(stderr, "xds_source: the window never answered\n");
        return 1;
    }
    std::sort(gaps.begin(), gaps.end());
    std::printf("main thread answered %zu moves: median %.1f ms, p99 %.1f ms, worst %.1f ms\n",
                gaps.size(), gaps[gaps.size() / 2], gaps[gaps.size() * 99 / 100], gaps.back());
    return 0;
}

} // namespace

int main(int argc, char* argv[]) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (!((mode == "drop" && argc >= 8) || (mode == "probe" && argc == 6))) {
        std::fprintf(stderr, "usage: xds_source drop WINDOW X Y NAME ANSWER FROM [BURSTS PAUSE "
                             "DELAY] | probe WINDOW X Y SECONDS\n");
        return 2;
    }
    x = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(x) != 0) {
        std::fprintf(stderr, "xds_source: cannot open the display\n");
        return 2;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
    self = xcb_generate_id(x);
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(x, XCB_COPY_FROM_PARENT, self, screen->root, 0, 0, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    const auto target = static_cast<xcb_window_t>(std::strtoul(argv[2], nullptr, 0));
    const int px = std::atoi(argv[3]);
    const int py = std::atoi(argv[4]);
    const int status =
        mode == "drop" ? drop(target, px, py, argv + 5) : probe(target, px, py, std::atof(argv[5]));
    // The server may drop requests still unread when a client hangs up: let it read them all.
    std::free(xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
    xcb_disconnect(x);
    return status;
}
