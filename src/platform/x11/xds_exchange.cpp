#include "xds_exchange.h"

#include "xcb_calls.h"

#include <QFile>
#include <QUrl>

#include <xcb/res.h>
#include <xcb/xcb.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace verrabel {

namespace {

// A property is read in pieces of this many 32-bit units, so memory stays bounded whatever
// the source sends.
constexpr std::uint32_t kPiece = 64 * 1024;
constexpr std::uint32_t kLongestName = 4096; // in 32-bit units, as xcb counts

bool writeAll(int fd, const char* bytes, std::int64_t size) {
    while (size > 0) {
        const ssize_t put = write(fd, bytes, static_cast<size_t>(size));
        if (put < 0 && errno == EINTR) {
            continue;
        }
        if (put <= 0) {
            return false;
        }
        bytes += put;
        size -= put;
    }
    return true;
}

} // namespace

XdsExchange::XdsExchange(std::uint32_t source, std::uint32_t time, const QString& folder,
                         double answerWait, std::optional<DropFinish> finish)
    : m_time(time) {
    m_x = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(m_x) != 0 || source == XCB_NONE) {
        m_stage = Stage::Done;
        m_answer = SourceAnswer::Refused;
        return;
    }
    const std::vector<xcb_atom_t> atoms =
        internAtoms(m_x, {"XdndSelection", "XdndDirectSave0", "text/plain", "VERRABEL_XDS",
                          "application/octet-stream", "INCR"});
    m_selection = atoms[0];
    const xcb_atom_t directSave = atoms[1];
    const xcb_atom_t text = atoms[2];
    m_property = atoms[3];
    m_octetStream = atoms[4];
    m_incremental = atoms[5];

    // The source keeps the name it proposes on its window.
    const auto proposed = xcbReply(xcb_get_property_reply(
        m_x,
        xcb_get_property(m_x, 0, source, directSave, XCB_GET_PROPERTY_TYPE_ANY, 0, kLongestName),
        nullptr));
    const QByteArray name =
        proposed && proposed->format == 8
            ? QByteArray(static_cast<const char*>(xcb_get_property_value(proposed.get())),
                         xcb_get_property_value_length(proposed.get()))
            : QByteArray();
    m_ownFile = folder + QLatin1Char('/') + safeFileName(name);
    const QByteArray url = QUrl::fromLocalFile(m_ownFile).toEncoded();

    // The window the source answers on; property changes tell how a long transfer goes on.
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_x)).data;
    m_window = xcb_generate_id(m_x);
    const std::uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_x, XCB_COPY_FROM_PARENT, m_window, screen->root, -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    xcb_change_property(m_x, XCB_PROP_MODE_REPLACE, source, directSave, text, 8,
                        static_cast<std::uint32_t>(url.size()), url.constData());
    xcb_convert_selection(m_x, m_window, m_selection, directSave, m_property, m_time);
    // The source's process, where the server has the X-Resource extension: a request of an
    // extension it lacks would end the connection.
    const xcb_query_extension_reply_t* resources = xcb_get_extension_data(m_x, &xcb_res_id);
    const xcb_res_client_id_spec_t client{source, XCB_RES_CLIENT_ID_MASK_LOCAL_CLIENT_PID};
    const auto ids = resources != nullptr && resources->present != 0
                         ? xcbReply(xcb_res_query_client_ids_reply(
                               m_x, xcb_res_query_client_ids(m_x, 1, &client), nullptr))
                         : xcbReply<xcb_res_query_client_ids_reply_t>(nullptr);
    if (ids) {
        // Only the PID was asked for: each value that comes back is one.
        for (auto id = xcb_res_query_client_ids_ids_iterator(ids.get()); id.rem != 0;
             xcb_res_client_id_value_next(&id)) {
            if (xcb_res_client_id_value_value_length(id.data) == 1) {
                m_process = static_cast<pid_t>(*xcb_res_client_id_value_value(id.data));
            }
        }
    }
    // A source may give up the drag's selection once the drop is finished: an "F" must be
    // followed up before that, and sources answer at once.
    using Clock = std::chrono::steady_clock;
    const auto deadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                             std::chrono::duration<double>(answerWait));
    for (;;) {
        // First what came in during the round trips, where no poll() sees it.
        readEvents();
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd x{xcb_get_file_descriptor(m_x), POLLIN, 0};
        if (m_stage != Stage::Asking || left.count() <= 0 ||
            poll(&x, 1, static_cast<int>(left.count())) <= 0) {
            break;
        }
    }
    std::free(xcb_get_input_focus_reply(m_x, xcb_get_input_focus(m_x), nullptr));
    readEvents();
    if (finish) {
        sendDropFinished(m_x, source, finish->target, true);
    }
}

XdsExchange::~XdsExchange() {
    if (m_file >= 0) {
        close(m_file);
    }
    xcb_disconnect(m_x);
}

int XdsExchange::descriptor() const {
    return m_stage == Stage::Done ? -1 : xcb_get_file_descriptor(m_x);
}

SourceAnswer XdsExchange::answer() {
    if (m_stage != Stage::Done) {
        readEvents();
    }
    return m_answer;
}

void XdsExchange::readEvents() {
    while (xcb_generic_event_t* event = xcb_poll_for_event(m_x)) {
        handle(event);
        std::free(event);
    }
    if (xcb_connection_has_error(m_x) != 0 && m_stage != Stage::Done) {
        finish(m_stage == Stage::Asking ? SourceAnswer::None : SourceAnswer::Refused);
    }
}

void XdsExchange::handle(const void* event) {
    const auto* generic = static_cast<const xcb_generic_event_t*>(event);
    switch (generic->response_type & 0x7f) {
    case XCB_SELECTION_NOTIFY: {
        const auto* notify = static_cast<const xcb_selection_notify_event_t*>(event);
        if (notify->requestor != m_window) {
            return;
        }
        if (m_stage == Stage::Asking) {
            answerArrived(notify->property);
        } else if (m_stage == Stage::Fetching) {
            dataArrived(notify->property);
        }
        return;
    }
    case XCB_PROPERTY_NOTIFY: {
        const auto* notify = static_cast<const xcb_property_notify_event_t*>(event);
        if (m_stage == Stage::Streaming && notify->window == m_window &&
            notify->atom == m_property && notify->state == XCB_PROPERTY_NEW_VALUE) {
            chunkArrived();
        }
        return;
    }
    default:
        return;
    }
}

void XdsExchange::answerArrived(std::uint32_t property) {
    if (property == XCB_NONE) {
        // Refused or unowned: the source may still write, or have written, the file.
        finish(SourceAnswer::None);
        return;
    }
    const XcbReply<xcb_get_property_reply_t> reply = readProperty(true, 0, 1);
    const char answer = reply && xcb_get_property_value_length(reply.get()) > 0
                            ? *static_cast<const char*>(xcb_get_property_value(reply.get()))
                            : '\0';
    if (answer == 'S') {
        finish(SourceAnswer::Saved);
    } else if (answer == 'E') {
        finish(SourceAnswer::Refused);
    } else if (answer == 'F') {
        // The source leaves the writing to us: its bytes go to the name we proposed.
        m_file = open(QFile::encodeName(m_ownFile).constData(),
                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (m_file < 0) {
            finish(SourceAnswer::Refused);
            return;
        }
        m_stage = Stage::Fetching;
        m_answer = SourceAnswer::Sending;
        xcb_convert_selection(m_x, m_window, m_selection, m_octetStream, m_property, m_time);
        xcb_flush(m_x);
    } else {
        finish(SourceAnswer::None);
    }
}

void XdsExchange::dataArrived(std::uint32_t property) {
    if (property == XCB_NONE) {
        finish(SourceAnswer::Refused);
        return;
    }
    const XcbReply<xcb_get_property_reply_t> type = readProperty(false, 0, 0);
    if (type && type->type == m_incremental) {
        // Deleting the announcement asks for the first piece.
        m_stage = Stage::Streaming;
        xcb_delete_property(m_x, m_window, m_property);
        xcb_flush(m_x);
        return;
    }
    finish(appendProperty() >= 0 ? SourceAnswer::Saved : SourceAnswer::Refused);
}

void XdsExchange::chunkArrived() {
    const std::int64_t size = appendProperty();
    if (size < 0) {
        finish(SourceAnswer::Refused);
    } else if (size == 0) {
        finish(SourceAnswer::Saved); // an empty piece ends the transfer
    }
}

std::int64_t XdsExchange::appendProperty() {
    std::int64_t total = 0;
    for (std::uint32_t offset = 0;; offset += kPiece) {
        const XcbReply<xcb_get_property_reply_t> piece = readProperty(false, offset, kPiece);
        if (!piece) {
            return -1;
        }
        const int length = xcb_get_property_value_length(piece.get());
        if (!writeAll(m_file, static_cast<const char*>(xcb_get_property_value(piece.get())),
                      length)) {
            return -1;
        }
        total += length;
        if (piece->bytes_after == 0) {
            break;
        }
    }
    // Deleting the property asks an incremental source for its next piece.
    xcb_delete_property(m_x, m_window, m_property);
    xcb_flush(m_x);
    return total;
}

XcbReply<xcb_get_property_reply_t> XdsExchange::readProperty(bool remove, std::uint32_t offset,
                                                             std::uint32_t length) const {
    return xcbReply(
        xcb_get_property_reply(m_x,
                               xcb_get_property(m_x, remove ? 1 : 0, m_window, m_property,
                                                XCB_GET_PROPERTY_TYPE_ANY, offset, length),
                               nullptr));
}

void XdsExchange::finish(SourceAnswer answer) {
    if (m_file >= 0) {
        close(m_file);
        m_file = -1;
        if (answer != SourceAnswer::Saved) {
            unlink(QFile::encodeName(m_ownFile).constData()); // never leave half the bytes
        }
    }
    m_stage = Stage::Done;
    m_answer = answer;
}

} // namespace verrabel
