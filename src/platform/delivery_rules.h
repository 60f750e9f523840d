#pragma once

#include "platform/file_promises.h"

#include <QList>
#include <QUrl>

#include <chrono>
#include <optional>

namespace verrabel {

/// What the source of a promised file has said about it so far.
enum class SourceAnswer {
    None, ///< nothing (yet): it may answer later, or never
    /// It said the file is written. Said before anything arrived, it only tells that whoever
    /// writes (an archive manager's tar) does so now, and nobody will say when it is done.
    Saved,
    /// It could not write the file (X Direct Save's "E", or the transfer broke off): whatever
    /// it left in the folder is not the file.
    Refused,
    Sending, ///< it sends the bytes itself, and has not finished
};

/// One look at the folder a promised file is written into.
struct FolderLook {
    /// The regular files and folders directly in it: what a promise may deliver.
    QList<QUrl> deliverable;
    /// Whether it holds anything at all: links, pipes and devices count here, but are not
    /// delivered.
    bool anything = false;
    /// Whether a process works in it: its working directory there, or something there open.
    bool working = false;
    /// Whether the source's process is known, so that the helpers it starts after the drop
    /// (which may write from elsewhere) are followed.
    bool helpersFollowed = false;
    /// Whether a process once seen working in it still runs, wherever it works now.
    bool writerAlive = false;
    /// Whether a helper of the source's that was never seen working in it still runs.
    bool helperAlive = false;
    /// Whether its file system has no room left: a writer that stopped there stopped short.
    bool full = false;
};

/// Decides when what a source writes into a folder is complete. The watch over the folder
/// tells it what happens and looks at the folder whenever it is settled and something happened,
/// or the rules' next look is due.
class DeliveryRules {
public:
    using Clock = std::chrono::steady_clock;

    virtual ~DeliveryRules() = default;
    /// The folder changed at `now`; the first call is when the watch began.
    virtual void changed(Clock::time_point now) = 0;
    /// What the source has said so far.
    virtual void heard(SourceAnswer answer) = 0;
    /// Whether the folder has been quiet long enough to be looked at; while it changes,
    /// nothing is decided.
    [[nodiscard]] virtual bool settled(Clock::time_point now) const = 0;
    /// The delivery, once the look says it is complete or to be given up.
    [[nodiscard]] virtual std::optional<Delivery> decide(const FolderLook& look,
                                                         Clock::time_point now) = 0;
    /// When to look at the latest if nothing happens before; none: only when something does.
    [[nodiscard]] virtual std::optional<Clock::time_point>
    nextLook(Clock::time_point now) const = 0;
};

} // namespace verrabel
