#pragma once

#include "platform/repeating_timer.h"

#include <chrono>

class QSocketNotifier;

namespace verrabel {

class MotionWatch;

/// A repeating timer with nanosecond intervals: a timerfd watched by the event loop, so it
/// fires in nested loops too (menus, drags, modal alerts). QTimer only has whole milliseconds.
///
/// Idle steps with a resting pointer have the motion watch report its next move, which gets a
/// step at once instead of at the next tick; after half a second of rest the timer naps until
/// then: on a virtual machine a bare 60 Hz wake-up alone costs more than the shelf may spend
/// idling.
class TimerFdTimer final : public RepeatingTimer {
public:
    /// Without a motion watch the timer never naps.
    TimerFdTimer(std::chrono::nanoseconds interval, std::function<void()> onFire,
                 MotionWatch* motion = nullptr);
    ~TimerFdTimer() override;
    TimerFdTimer(const TimerFdTimer&) = delete;
    TimerFdTimer& operator=(const TimerFdTimer&) = delete;

    void schedule() override;
    void idleAt(const std::optional<QPointF>& pointer) override;
    void resume() override;
    /// The interval the kernel holds for the timer; zero while it is unscheduled or napping.
    [[nodiscard]] std::chrono::nanoseconds armedInterval() const;
    [[nodiscard]] bool isNapping() const { return m_napping; }

private:
    void arm(std::chrono::nanoseconds first, std::chrono::nanoseconds interval);
    void moved();
    void fire();

    std::chrono::nanoseconds m_interval;
    std::function<void()> m_onFire;
    MotionWatch* m_motion;
    int m_fd = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::optional<QPointF> m_restingAt;
    int m_restingSteps = 0;
    /// The motion watch will report the next move.
    bool m_awaiting = false;
    bool m_napping = false;
};

class TimerFdTimerFactory final : public TimerFactory {
public:
    explicit TimerFdTimerFactory(MotionWatch* motion = nullptr)
        : m_motion(motion) {}
    [[nodiscard]] std::unique_ptr<RepeatingTimer>
    makeRepeatingTimer(double intervalSeconds, std::function<void()> onFire) override;

private:
    MotionWatch* m_motion;
};

} // namespace verrabel
