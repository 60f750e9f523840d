#pragma once

#include "held_drops.h"
#include "platform/linux/delivery_watch.h"
#include "xcb_calls.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>
#include <optional>

namespace verrabel {

/// One X Direct Save exchange with a drag's source, on an X connection of its own, so that
/// waiting for the source never holds up the main thread. Made and heard by one background
/// thread.
class XdsExchange final : public DeliverySource {
public:
    /// Reads the name the source proposes, writes the URL of a file of that name inside
    /// `folder` onto the source's window and asks the source to save there, then gives it up to
    /// `answerWait` seconds to answer: on "F" (we are to fetch the bytes ourselves) they are
    /// asked for at once. With `finish`, the drop was held back from Qt: then the source is told
    /// that the drop is finished only after that, since some sources give up the drag's
    /// selection then. Runs off the main thread. Without a display, the exchange answers
    /// Refused.
    XdsExchange(std::uint32_t source, std::uint32_t time, const QString& folder, double answerWait,
                std::optional<DropFinish> finish);
    ~XdsExchange() override;
    XdsExchange(const XdsExchange&) = delete;
    XdsExchange& operator=(const XdsExchange&) = delete;

    /// The X connection, until the source has nothing more to say.
    [[nodiscard]] int descriptor() const override;
    /// What the source has said so far. Bytes it sends itself (after "F") are streamed into
    /// `ownFile` here: Sending until they are all written, then Saved.
    SourceAnswer answer() override;
    /// The process of the source's X client, as the X server knows it.
    [[nodiscard]] pid_t process() const override { return m_process; }

private:
    enum class Stage { Asking, Fetching, Streaming, Done };

    void readEvents();
    void handle(const void* event);
    void answerArrived(std::uint32_t property);
    void dataArrived(std::uint32_t property);
    void chunkArrived();
    /// Appends the property's value to `ownFile` and deletes it; the bytes it held.
    std::int64_t appendProperty();
    /// Our property's value from `offset` on, `length` 32-bit units of it; deleted when
    /// `remove` and all of it is read.
    [[nodiscard]] XcbReply<xcb_get_property_reply_t> readProperty(bool remove, std::uint32_t offset,
                                                                  std::uint32_t length) const;
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
    pid_t m_process = 0;
    Stage m_stage = Stage::Asking;
    SourceAnswer m_answer = SourceAnswer::None;
};

} // namespace verrabel
