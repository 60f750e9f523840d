#include "timer_slack_activity.h"

#include <sys/prctl.h>

namespace verrabel {

namespace {

class TimerSlackToken final : public ActivityToken {
public:
    TimerSlackToken() { prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL); }
    ~TimerSlackToken() override { prctl(PR_SET_TIMERSLACK, m_previous, 0UL, 0UL, 0UL); }
    TimerSlackToken(const TimerSlackToken&) = delete;
    TimerSlackToken& operator=(const TimerSlackToken&) = delete;

private:
    unsigned long m_previous =
        static_cast<unsigned long>(prctl(PR_GET_TIMERSLACK, 0UL, 0UL, 0UL, 0UL));
};

} // namespace

std::unique_ptr<ActivityToken> TimerSlackActivity::begin(std::uint64_t /*options*/,
                                                         const QString& /*reason*/) {
    return std::make_unique<TimerSlackToken>();
}

} // namespace verrabel
