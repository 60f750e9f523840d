// How long a window's main thread takes to answer: holds a drag that WINDOW cannot take over it
// for SECONDS, moving all the time, and times the answer to each move.
// Usage: xdnd_probe WINDOW X Y SECONDS

#include "e2e/xdnd_client.h"

#include <algorithm>
#include <cstdio>
#include <vector>

int main(int argc, char* argv[]) {
    xdnd::Client client;
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
    const auto end = xdnd::Clock::now() + std::chrono::duration<double>(std::atof(argv[4]));
    for (int step = 0; xdnd::Clock::now() < end; ++step) {
        const auto asked = xdnd::Clock::now();
        client.send(target, "XdndPosition", client.self, 0,
                    static_cast<std::uint32_t>((x << 16) | (y + step % 2)), XCB_CURRENT_TIME,
                    client.atom("XdndActionCopy"));
        if (!client.waitFor(30, [&client](const xcb_generic_event_t* event) {
                return client.isMessage(event, "XdndStatus");
            })) {
            break;
        }
        gaps.push_back(
            std::chrono::duration<double, std::milli>(xdnd::Clock::now() - asked).count());
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
