#pragma once

#include "platform/process_activity.h"

namespace verrabel {

/// Linux does not throttle background processes; what it does do is let timer wake-ups slip by
/// the thread's timer slack (50 µs by default) to batch them. The activity takes the slack away
/// from the main thread, where the hover timer runs, and gives it back when it ends.
class TimerSlackActivity final : public ProcessActivity {
public:
    [[nodiscard]] std::unique_ptr<ActivityToken> begin(std::uint64_t options,
                                                       const QString& reason) override;
};

} // namespace verrabel
