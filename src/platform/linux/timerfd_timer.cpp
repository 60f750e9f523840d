#include "timerfd_timer.h"

#include "platform/motion_watch.h"

#include <QSocketNotifier>

#include <sys/timerfd.h>

#include <cstdint>
#include <unistd.h>

namespace verrabel {

namespace {

constexpr std::int64_t kNanosPerSecond = 1'000'000'000;
// Half a second at 60 Hz: a pointer merely slowing down does not send the timer to sleep.
constexpr int kRestingStepsBeforeNap = 30;
// The soonest a timerfd can expire; zero would disarm it.
constexpr std::chrono::nanoseconds kAtOnce{1};

timespec toTimespec(std::chrono::nanoseconds duration) {
    const auto count = duration.count();
    return {static_cast<time_t>(count / kNanosPerSecond),
            static_cast<long>(count % kNanosPerSecond)};
}

} // namespace

TimerFdTimer::TimerFdTimer(std::chrono::nanoseconds interval, std::function<void()> onFire,
                           MotionWatch* motion)
    : m_interval(interval)
    , m_onFire(std::move(onFire))
    , m_motion(motion)
    , m_fd(timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC)) {}

TimerFdTimer::~TimerFdTimer() {
    if (m_awaiting) {
        m_motion->cancel();
    }
    m_notifier.reset();
    if (m_fd >= 0) {
        close(m_fd);
    }
}

void TimerFdTimer::schedule() {
    if (m_fd < 0 || m_notifier) {
        return;
    }
    arm(m_interval, m_interval);
    m_notifier = std::make_unique<QSocketNotifier>(m_fd, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                     [this] { fire(); });
}

void TimerFdTimer::idleAt(const std::optional<QPointF>& pointer) {
    if (m_napping || !m_notifier || m_motion == nullptr) {
        return;
    }
    if (pointer != m_restingAt) {
        m_restingAt = pointer;
        m_restingSteps = 0;
        return;
    }
    // Resting: its next move gets a step at once, not at the next tick, and once it has rested
    // for a while the timer stops until then.
    if (!m_awaiting) {
        m_awaiting = m_motion->awaitMotion([this] { moved(); });
    }
    if (m_awaiting && ++m_restingSteps >= kRestingStepsBeforeNap) {
        arm({}, {});
        m_napping = true;
    }
}

void TimerFdTimer::resume() {
    if (m_awaiting) {
        m_motion->cancel();
        moved();
    }
}

void TimerFdTimer::moved() {
    // The next step runs from the event loop, not from inside whoever told of the move, and
    // the interval goes on from there.
    m_awaiting = false;
    m_napping = false;
    m_restingSteps = 0;
    arm(kAtOnce, m_interval);
}

void TimerFdTimer::arm(std::chrono::nanoseconds first, std::chrono::nanoseconds interval) {
    const itimerspec timing{toTimespec(interval), toTimespec(first)};
    timerfd_settime(m_fd, 0, &timing, nullptr);
}

std::chrono::nanoseconds TimerFdTimer::armedInterval() const {
    itimerspec timing{};
    if (m_fd < 0 || timerfd_gettime(m_fd, &timing) != 0) {
        return {};
    }
    return std::chrono::seconds(timing.it_interval.tv_sec) +
           std::chrono::nanoseconds(timing.it_interval.tv_nsec);
}

void TimerFdTimer::fire() {
    // Expirations missed while the loop was busy are not made up: one call per wake-up.
    std::uint64_t expirations = 0;
    if (read(m_fd, &expirations, sizeof expirations) != sizeof expirations) {
        return;
    }
    m_onFire();
}

std::unique_ptr<RepeatingTimer>
TimerFdTimerFactory::makeRepeatingTimer(double intervalSeconds, std::function<void()> onFire) {
    const auto interval = std::chrono::round<std::chrono::nanoseconds>(
        std::chrono::duration<double>(intervalSeconds));
    return std::make_unique<TimerFdTimer>(interval, std::move(onFire), m_motion);
}

} // namespace verrabel
