#include "exit_deadline.h"

#include <cstdlib>
#include <thread>

namespace verrabel {

void endProcessWithin(std::chrono::milliseconds limit) {
    std::thread([limit] {
        std::this_thread::sleep_for(limit);
        std::_Exit(0);
    }).detach();
}

} // namespace verrabel
