// A drag source of the tests' own, with timing that real applications do not offer on demand.
//
//   xds_source WINDOW X Y NAME ANSWER FROM [BURSTS PAUSE DELAY]
//
// Drops a promised file (X Direct Save) NAME onto WINDOW at the root point X,Y. Asked to save
// it, writes the bytes of the file FROM there in BURSTS bursts, closing the file between them,
// PAUSE seconds apart, waits DELAY seconds and answers ANSWER: S, E, none (never), or F (at
// once, then sends the bytes itself, incrementally, when asked). Prints "dropped", then how long
// the drop held the target.

#include "xdnd_client.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr std::size_t kChunk = 64 * 1024;

std::string pathOfUrl(const std::string& url) {
    std::string path;
    for (std::size_t i = url.find('/', url.find("://") + 3); i < url.size(); ++i) {
        path += url[i] == '%' ? static_cast<char>(std::stoi(url.substr(i + 1, 2), nullptr, 16))
                              : url[i];
        i += url[i] == '%' ? 2 : 0;
    }
    return path;
}

void reply(const xdnd::Client& client, const xcb_selection_request_event_t& request,
           xcb_atom_t property) {
    xcb_selection_notify_event_t notify{};
    notify.response_type = XCB_SELECTION_NOTIFY;
    notify.time = request.time;
    notify.requestor = request.requestor;
    notify.selection = request.selection;
    notify.target = request.target;
    notify.property = property;
    xcb_send_event(client.x, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&notify));
    xcb_flush(client.x);
}

/// The INCR transfer, for data too large for one property: a piece each time the requestor
/// deletes the property, an empty one at the end.
bool sendIncrementally(xdnd::Client& client, const xcb_selection_request_event_t& request,
                       const std::string& bytes) {
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(client.x, request.requestor, XCB_CW_EVENT_MASK, &mask);
    const auto size = static_cast<std::uint32_t>(bytes.size());
    xcb_change_property(client.x, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                        client.atom("INCR"), 32, 1, &size);
    reply(client, request, request.property);
    for (std::size_t offset = 0;; offset += kChunk) {
        if (!client.waitFor(10, [&request](const xcb_generic_event_t* event) {
                const auto* change = reinterpret_cast<const xcb_property_notify_event_t*>(event);
                return (event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY &&
                       change->window == request.requestor && change->atom == request.property &&
                       change->state == XCB_PROPERTY_DELETE;
            })) {
            return false;
        }
        const std::size_t from = std::min(offset, bytes.size());
        const std::size_t length = std::min(kChunk, bytes.size() - from);
        xcb_change_property(client.x, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            request.target, 8, static_cast<std::uint32_t>(length),
                            bytes.data() + from);
        xcb_flush(client.x);
        if (length == 0) {
            return true;
        }
    }
}

/// Writes the bursts into the file the target asked for, then answers.
void save(const xdnd::Client& client, const xcb_selection_request_event_t& request,
          const std::string& answer, const std::string& bytes, int bursts, double pause,
          double delay) {
    const std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> url(
        xcb_get_property_reply(client.x,
                               xcb_get_property(client.x, 0, client.self,
                                                client.atom("XdndDirectSave0"),
                                                XCB_GET_PROPERTY_TYPE_ANY, 0, 1024),
                               nullptr),
        &std::free);
    const std::string path =
        pathOfUrl(std::string(static_cast<const char*>(xcb_get_property_value(url.get())),
                              xcb_get_property_value_length(url.get())));
    for (int burst = 0; answer != "F" && answer != "E" && burst < bursts; ++burst) {
        std::this_thread::sleep_for(std::chrono::duration<double>(burst > 0 ? pause : 0));
        const std::size_t share = bytes.size() / bursts;
        std::ofstream(path, std::ios::binary | std::ios::app)
            << bytes.substr(burst * share, burst + 1 == bursts ? std::string::npos : share);
    }
    std::this_thread::sleep_for(std::chrono::duration<double>(delay));
    if (answer != "none") {
        xcb_change_property(client.x, XCB_PROP_MODE_REPLACE, request.requestor, request.property,
                            request.target, 8, 1, answer.data());
        reply(client, request, request.property);
    }
}

} // namespace

int main(int argc, char* argv[]) {
    xdnd::Client client;
    if (argc < 7 || !client.open()) {
        std::fprintf(stderr, "usage: xds_source WINDOW X Y NAME ANSWER FROM [BURSTS PAUSE DELAY]"
                             " (with a display)\n");
        return 2;
    }
    const auto target = static_cast<xcb_window_t>(std::strtoul(argv[1], nullptr, 0));
    const auto at = static_cast<std::uint32_t>((std::atoi(argv[2]) << 16) | std::atoi(argv[3]));
    const std::string name = argv[4];
    const std::string answer = argv[5];
    std::ifstream from(argv[6], std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(from)), {});
    const int bursts = argc > 7 ? std::atoi(argv[7]) : 1;
    const double pause = argc > 8 ? std::atof(argv[8]) : 0;
    const double delay = argc > 9 ? std::atof(argv[9]) : 0;

    // The proposed name on our window, the drag's selection ours, then enter, move and drop.
    xcb_change_property(client.x, XCB_PROP_MODE_REPLACE, client.self,
                        client.atom("XdndDirectSave0"), client.atom("text/plain"), 8,
                        static_cast<std::uint32_t>(name.size()), name.data());
    xcb_set_selection_owner(client.x, client.self, client.atom("XdndSelection"), XCB_CURRENT_TIME);
    client.send(target, "XdndEnter", client.self, 5U << 24, client.atom("XdndDirectSave0"));
    client.send(target, "XdndPosition", client.self, 0, at, XCB_CURRENT_TIME,
                client.atom("XdndActionCopy"));
    client.waitFor(5,
                   [&client](const auto* event) { return client.isMessage(event, "XdndStatus"); });
    const auto dropped = xdnd::Clock::now();
    client.send(target, "XdndDrop", client.self, 0, XCB_CURRENT_TIME);
    std::printf("dropped\n");
    std::fflush(stdout);

    // Saving is done aside, so that the drop's end is seen when it comes.
    std::thread saver;
    bool done = false;
    while (!(done && client.finished) && client.waitFor(30, [&](const xcb_generic_event_t* event) {
        if ((event->response_type & 0x7f) != XCB_SELECTION_REQUEST) {
            return client.isMessage(event, "XdndFinished");
        }
        const auto request = *reinterpret_cast<const xcb_selection_request_event_t*>(event);
        if (request.target == client.atom("XdndDirectSave0")) {
            saver = std::thread(save, std::cref(client), request, answer, std::cref(bytes), bursts,
                                pause, delay);
            done = answer != "F";
        } else if (request.target == client.atom("application/octet-stream") && answer == "F") {
            done = sendIncrementally(client, request, bytes);
        } else {
            reply(client, request, XCB_NONE);
        }
        return true;
    })) {
    }
    if (saver.joinable()) {
        saver.join();
    }
    if (!done || !client.finished) {
        std::fprintf(stderr, "xds_source: the drop did not end as it should\n");
        return 1;
    }
    std::printf("the drop held the target for %.1f ms\n",
                std::chrono::duration<double, std::milli>(*client.finished - dropped).count());
    return 0;
}
