#pragma once

#include <chrono>

namespace verrabel {

/// Ends the process with status 0 once `limit` has passed, whatever its threads are doing then:
/// for the way out, so that work on a background thread (a thumbnail of a file that reads slowly)
/// never keeps a quitting program alive. A process that ends before has nothing to wait for.
void endProcessWithin(std::chrono::milliseconds limit);

} // namespace verrabel
