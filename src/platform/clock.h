#pragma once

namespace verrabel {

/// A wall-clock moment in seconds since 1970-01-01 00:00:00 UTC.
using Date = double;

/// Long before anything the shelf will ever compare against (the year 1).
inline constexpr Date kDistantPast = -62135596800.0;

class Clock {
public:
    virtual ~Clock() = default;
    [[nodiscard]] virtual Date now() const = 0;
};

} // namespace verrabel
