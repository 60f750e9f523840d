#include "x11_motion_watch.h"

#include <QSocketNotifier>

#include <xcb/record.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <cstdlib>

namespace verrabel {

namespace {

// Categories of RECORD's EnableContext replies.
constexpr std::uint8_t kFromServer = 0;
constexpr std::uint8_t kEndOfData = 5;

} // namespace

X11MotionWatch::X11MotionWatch() = default;

X11MotionWatch::~X11MotionWatch() {
    m_controlNotifier.reset();
    m_dataNotifier.reset();
    if (m_control != nullptr) {
        if (m_context != 0) {
            // Freeing a context that records also ends the recording.
            xcb_record_free_context(m_control, m_context);
            xcb_flush(m_control);
        }
        xcb_disconnect(m_control);
    }
    if (m_data != nullptr) {
        xcb_disconnect(m_data);
    }
}

bool X11MotionWatch::awaitMotion(std::function<void()> onMotion) {
    if (!connect()) {
        return false;
    }
    m_onMotion = std::move(onMotion);
    if (m_state == State::Off) {
        startRecording();
    }
    // While Stopping, recording starts again once the server has ended the previous run.
    return true;
}

void X11MotionWatch::cancel() {
    m_onMotion = nullptr;
    if (m_state == State::Recording) {
        stopRecording();
    }
}

bool X11MotionWatch::connect() {
    if (m_broken) {
        return false;
    }
    if (m_data != nullptr) {
        return true;
    }
    m_control = xcb_connect(nullptr, nullptr);
    m_data = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(m_control) != 0 || xcb_connection_has_error(m_data) != 0) {
        breakDown();
        return false;
    }
    const xcb_query_extension_reply_t* record = xcb_get_extension_data(m_control, &xcb_record_id);
    if (record == nullptr || record->present == 0) {
        breakDown();
        return false;
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_control)).data->root;

    m_context = xcb_generate_id(m_control);
    xcb_record_range_t range{};
    range.device_events.first = XCB_MOTION_NOTIFY;
    range.device_events.last = XCB_MOTION_NOTIFY;
    const xcb_record_client_spec_t everyone = XCB_RECORD_CS_ALL_CLIENTS;
    xcb_generic_error_t* error =
        xcb_request_check(m_control, xcb_record_create_context_checked(m_control, m_context, 0, 1,
                                                                       1, &everyone, &range));
    if (error != nullptr) {
        std::free(error);
        m_context = 0;
        breakDown();
        return false;
    }

    m_controlNotifier = std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_control),
                                                          QSocketNotifier::Read);
    QObject::connect(m_controlNotifier.get(), &QSocketNotifier::activated, m_controlNotifier.get(),
                     [this] { drainControlEvents(); });
    m_dataNotifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(m_data), QSocketNotifier::Read);
    QObject::connect(m_dataNotifier.get(), &QSocketNotifier::activated, m_dataNotifier.get(),
                     [this] { readReplies(); });
    return true;
}

void X11MotionWatch::startRecording() {
    // The server hands recorded data over only when it flushes output to some client, which a
    // motion over windows nobody listens to would not cause: listen on the root window too.
    selectRootMotion(true);
    xcb_flush(m_control);
    m_sequence = xcb_record_enable_context(m_data, m_context).sequence;
    xcb_flush(m_data);
    m_state = State::Recording;
}

void X11MotionWatch::stopRecording() {
    xcb_record_disable_context(m_control, m_context);
    selectRootMotion(false);
    xcb_flush(m_control);
    m_state = State::Stopping;
}

void X11MotionWatch::selectRootMotion(bool on) {
    const std::uint32_t mask = on ? XCB_EVENT_MASK_POINTER_MOTION : XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(m_control, m_root, XCB_CW_EVENT_MASK, &mask);
}

void X11MotionWatch::drainControlEvents() {
    // The root window's motion events only serve to wake the server's output.
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_control)) {
        std::free(event);
    }
    if (xcb_connection_has_error(m_control) != 0) {
        breakDown();
    }
}

void X11MotionWatch::readReplies() {
    for (;;) {
        void* reply = nullptr;
        xcb_generic_error_t* error = nullptr;
        if (xcb_poll_for_reply(m_data, m_sequence, &reply, &error) == 0) {
            return; // nothing more yet
        }
        if (reply == nullptr) {
            std::free(error);
            if (xcb_connection_has_error(m_data) != 0 || error != nullptr) {
                breakDown();
            }
            return;
        }
        const auto category = static_cast<xcb_record_enable_context_reply_t*>(reply)->category;
        std::free(reply);
        if (category == kFromServer && m_state == State::Recording) {
            stopRecording();
            if (auto onMotion = std::exchange(m_onMotion, nullptr)) {
                onMotion();
            }
        } else if (category == kEndOfData) {
            m_state = State::Off;
            if (m_onMotion) {
                startRecording();
            }
        }
    }
}

void X11MotionWatch::breakDown() {
    // No more naps; whoever waits must not wait forever.
    m_broken = true;
    m_controlNotifier.reset();
    m_dataNotifier.reset();
    m_state = State::Off;
    if (auto onMotion = std::exchange(m_onMotion, nullptr)) {
        onMotion();
    }
}

} // namespace verrabel
