#pragma once

#include "motion_watch.h"

#include <cstdint>
#include <memory>

class QSocketNotifier;
struct xcb_connection_t;

namespace verrabel {

/// Pointer motion from the X server's RECORD extension, which reports every motion whatever
/// window it is over and whoever grabs the pointer, including motion made with XTEST.
/// Recording runs only from an await until the first motion, so a resting pointer costs
/// nothing.
class X11MotionWatch final : public MotionWatch {
public:
    X11MotionWatch();
    ~X11MotionWatch() override;
    X11MotionWatch(const X11MotionWatch&) = delete;
    X11MotionWatch& operator=(const X11MotionWatch&) = delete;

    bool awaitMotion(std::function<void()> onMotion) override;
    void cancel() override;

private:
    enum class State { Off, Recording, Stopping };

    bool connect();
    void startRecording();
    void stopRecording();
    void selectRootMotion(bool on);
    void readReplies();
    void breakDown();

    xcb_connection_t* m_control = nullptr; // Qt's connection
    xcb_connection_t* m_data = nullptr;    // RECORD streams its replies on a connection of its own
    std::uint32_t m_context = 0;
    unsigned int m_sequence = 0;
    std::unique_ptr<QSocketNotifier> m_notifier;
    State m_state = State::Off;
    bool m_broken = false;
    std::function<void()> m_onMotion;
};

} // namespace verrabel
