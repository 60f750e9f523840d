#pragma once

#include "delivery_watch.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <stop_token>

struct xcb_connection_t;

namespace verrabel {

/// One X Direct Save exchange with a drag's source, on an X connection of its own, so that
/// waiting for the source never holds up the main thread. Made on the main thread during the
/// drop; then waited on by one background thread.
class XdsExchange final {
public:
    /// Writes the file URL `url` onto the source's window and asks the source to save there.
    /// Returns once the X server has both requests: they then reach the source before the drop
    /// is finished, after which a source may give up its selection. Without a display, the
    /// exchange answers Refused.
    XdsExchange(std::uint32_t source, std::uint32_t time, const QByteArray& url, QString ownFile);
    ~XdsExchange();
    XdsExchange(const XdsExchange&) = delete;
    XdsExchange& operator=(const XdsExchange&) = delete;

    /// Waits up to `seconds` for news from the source; what it has said so far. When it asks
    /// us to fetch the bytes ourselves ("F"), they are streamed into `ownFile` here, and the
    /// answer becomes Saved once they are all written.
    SourceAnswer wait(double seconds, const std::stop_token& stop);

private:
    enum class Stage { Asking, Fetching, Streaming, Done };

    void handle(const void* event);
    void answerArrived(std::uint32_t property);
    void dataArrived(std::uint32_t property);
    void chunkArrived();
    /// Appends the property's value to `ownFile` and deletes it; the bytes it held.
    std::int64_t appendProperty();
    void finish(SourceAnswer answer);

    xcb_connection_t* m_x = nullptr;
    std::uint32_t m_window = 0;
    std::uint32_t m_time;
    std::uint32_t m_selection = 0;
    std::uint32_t m_property = 0;
    std::uint32_t m_octetStream = 0;
    std::uint32_t m_incremental = 0;
    QString m_ownFile;
    int m_file = -1;
    Stage m_stage = Stage::Asking;
    SourceAnswer m_answer = SourceAnswer::None;
};

} // namespace verrabel
