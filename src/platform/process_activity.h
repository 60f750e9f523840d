#pragma once

#include <QString>

#include <cstdint>
#include <memory>

namespace verrabel {

/// Ends its activity when destroyed.
class ActivityToken {
public:
    virtual ~ActivityToken() = default;
};

/// Asks the system to keep the process's timers prompt while it works in the background.
class ProcessActivity {
public:
    virtual ~ProcessActivity() = default;
    [[nodiscard]] virtual std::unique_ptr<ActivityToken> begin(std::uint64_t options,
                                                               const QString& reason) = 0;
};

} // namespace verrabel
