#pragma once

#include "platform/motion_watch.h"

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
    void drainControlEvents();
    void readReplies();
    void breakDown();

    // Two connections of our own, apart from Qt's: RECORD streams its replies on the data
    // connection, which must carry nothing else; the control connection asks for and stops
    // recording and listens on the root window.
    xcb_connection_t* m_control = nullptr;
    xcb_connection_t* m_data = nullptr;
    std::uint32_t m_root = 0;
    std::uint32_t m_context = 0;
    unsigned int m_sequence = 0;
    std::unique_ptr<QSocketNotifier> m_controlNotifier;
    std::unique_ptr<QSocketNotifier> m_dataNotifier;
    State m_state = State::Off;
    bool m_broken = false;
    std::function<void()> m_onMotion;
};

} // namespace verrabel
