#include "x11_transfer_keys.h"

#include "held_drops.h"
#include "platform/file_transfers.h"
#include "platform/main_thread.h"
#include "xcb_calls.h"

#include <QMimeData>

#include <chrono>
#include <poll.h>
#include <pthread.h>

namespace verrabel {

namespace {

// A source that has not answered by then will not: the drop becomes an alert line.
constexpr std::chrono::seconds kAnswerWait{10};
// How often a wait looks whether Verrabel is quitting.
constexpr int kStopLookMilliseconds = 100;
// A key is a short token; more is no key.
constexpr std::uint32_t kLongestKey = 1024;

bool offersKey(const QMimeData& data) {
    return data.hasFormat(QString::fromLatin1(kTransferKeyType));
}

/// Asks the drag's source for its key as of the drop's `time`, waits for the answer, then tells
/// the source the drop is finished.
std::optional<QString> readKey(std::uint32_t source, std::uint32_t time, DropFinish finish,
                               const std::stop_token& stop) {
    xcb_connection_t* x = xcb_connect(nullptr, nullptr);
    std::optional<QString> key;
    if (xcb_connection_has_error(x) == 0) {
        const std::vector<xcb_atom_t> atoms =
            internAtoms(x, {"XdndSelection", kTransferKeyType, "VERRABEL_TRANSFER_KEY"});
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
        const xcb_window_t window = xcb_generate_id(x);
        xcb_create_window(x, XCB_COPY_FROM_PARENT, window, screen->root, -1, -1, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_convert_selection(x, window, atoms[0], atoms[1], atoms[2], time);
        xcb_flush(x);
        const auto deadline = std::chrono::steady_clock::now() + kAnswerWait;
        bool answered = false;
        while (!answered && !stop.stop_requested() && std::chrono::steady_clock::now() < deadline) {
            while (xcb_generic_event_t* event = xcb_poll_for_event(x)) {
                if ((event->response_type & 0x7f) == XCB_SELECTION_NOTIFY) {
                    const auto* notify = reinterpret_cast<xcb_selection_notify_event_t*>(event);
                    answered = notify->requestor == window;
                    if (answered && notify->property != XCB_NONE) {
                        const auto value = xcbReply(xcb_get_property_reply(
                            x,
                            xcb_get_property(x, 1, window, notify->property,
                                             XCB_GET_PROPERTY_TYPE_ANY, 0, kLongestKey / 4),
                            nullptr));
                        if (value && value->format == 8) {
                            // GTK ends the key with a NUL, as a C string.
                            key = QString::fromUtf8(
                                      static_cast<const char*>(xcb_get_property_value(value.get())),
                                      xcb_get_property_value_length(value.get()))
                                      .remove(QChar())
                                      .trimmed();
                        }
                    }
                }
                std::free(event);
            }
            pollfd polled{xcb_get_file_descriptor(x), POLLIN, 0};
            if (!answered && xcb_connection_has_error(x) == 0) {
                poll(&polled, 1, kStopLookMilliseconds);
            } else if (xcb_connection_has_error(x) != 0) {
                break;
            }
        }
        sendDropFinished(x, source, finish.target, true);
        // The server may drop what a connection sent just before it closed: a round trip makes
        // sure the source is told.
        std::free(xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
    }
    xcb_disconnect(x);
    return key && !key->isEmpty() ? key : std::nullopt;
}

} // namespace

X11TransferKeys::X11TransferKeys(X11HeldDrops& drops)
    : m_drops(drops) {
    m_drops.holdWhen(offersKey);
}

X11TransferKeys::~X11TransferKeys() = default;

bool X11TransferKeys::read(const QMimeData& data, TransferKeyRead answer) {
    if (!offersKey(data)) {
        return false;
    }
    const std::optional<DropFinish> finish = m_drops.takeFinish();
    if (!finish) {
        return false;
    }
    m_readers.remove_if([](const Reader& reader) { return reader.done.load(); });
    Reader& reader = m_readers.emplace_back();
    reader.thread =
        std::jthread([this, &reader, source = m_drops.source(), time = m_drops.time(),
                      finish = *finish, answer = std::move(answer)](const std::stop_token& stop) {
            pthread_setname_np(pthread_self(), "Verrabel.key");
            const std::optional<QString> key = readKey(source, time, finish, stop);
            if (!stop.stop_requested()) {
                postToMain(this, [answer, key] { answer(key); });
            }
            reader.done = true;
        });
    return true;
}

} // namespace verrabel
