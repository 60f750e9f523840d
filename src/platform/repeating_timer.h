#pragma once

#include <QPointF>

#include <functional>
#include <memory>
#include <optional>

namespace verrabel {

/// A repeating timer on the main thread that also fires inside menus and drags.
class RepeatingTimer {
public:
    virtual ~RepeatingTimer() = default;
    /// Starts firing; the timer is created unscheduled.
    virtual void schedule() = 0;
    /// The step that just ran had nothing to do, and will have nothing to do until the pointer
    /// leaves `pointer` (none: away from every window that shows it). Once the pointer has rested
    /// there for a moment the timer may stop firing; it fires again at once when the pointer
    /// moves, then at its interval.
    virtual void idleAt(const std::optional<QPointF>& pointer) = 0;
    /// Ends a pause of idleAt() now: something other than the pointer needs steps again.
    virtual void resume() = 0;
};

class TimerFactory {
public:
    virtual ~TimerFactory() = default;
    [[nodiscard]] virtual std::unique_ptr<RepeatingTimer>
    makeRepeatingTimer(double intervalSeconds, std::function<void()> onFire) = 0;
};

} // namespace verrabel
