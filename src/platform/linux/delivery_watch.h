#pragma once

#include "platform/file_promises.h"

#include <sys/types.h>

#include <functional>
#include <stop_token>

namespace verrabel {

/// What the source of a promised file has said about it so far.
enum class SourceAnswer {
    None,  ///< nothing (yet): it may answer later, or never
    Saved, ///< the file is written
    /// It said so while nothing was written yet: its helper writes only now (engrampa's tar),
    /// and nobody will say when it is done.
    SavedBeforeWriting,
    Refused, ///< it could not write the file
    Sending, ///< it sends the bytes itself, and has not finished
};

/// The source of a promised file, as the watch over its folder hears it.
class DeliverySource {
public:
    virtual ~DeliverySource() = default;
    /// A descriptor that becomes readable when the source may have news; -1 for none.
    [[nodiscard]] virtual int descriptor() const = 0;
    /// Takes in whatever news there is, without waiting: what the source has said so far.
    virtual SourceAnswer answer() = 0;
    /// The source's process, where it is known (else 0). A source that says it saved before
    /// writing has a helper of its own write: its child processes.
    [[nodiscard]] virtual pid_t process() const = 0;
};

/// How long to wait for a source that writes a promised file into a folder.
struct DeliveryTimes {
    /// A file closed and unchanged this long is finished and may be published. The folder
    /// quiet this long, with nothing working in it, is complete once the source is trusted to
    /// be done: it said so after writing, or its helpers, or a process seen working there, have
    /// gone.
    double quiet = 0.5;
    /// The quiet that completes the folder of a source that answered before it wrote, or not
    /// at all: long enough for pauses between its writes.
    double untrustedQuiet = 10;
    /// With nothing changing for this long and nothing working in the folder, the file is not
    /// coming.
    double idleLimit = 30;
    /// The same while a process works in the folder without changing it (an extractor
    /// decompressing what it skips): it is given up only after this long.
    double workingLimit = 600;
    /// After the source has said it could not save, the folder gets only this long.
    double afterRefusal = 5;
    /// How often to look again whether a process still works in the folder, besides when one
    /// ends or the folder changes.
    double workerCheck = 2;
};

/// The name a source proposes, if it is one plain path component; else a name of our own.
[[nodiscard]] QString safeFileName(const QByteArray& proposed);

/// Waits on the calling thread until what a source writes into `folder` is complete, sleeping
/// until the folder changes, the source speaks, a process working in the folder ends, or a
/// time is up. Each file that is finished before then (closed, and unchanged for a moment) goes
/// to `arrived` as it is; the rest comes back at the end: the regular files and folders
/// directly in the folder. A delivery is complete only once no process works in the folder
/// (its working directory there, something in it open; a helper of the source's), and the
/// source's word or the quiet says it is done; some sources report an error for a file they did
/// write, so the folder has the last word.
[[nodiscard]] Delivery awaitDelivery(const QString& folder, const DeliveryTimes& times,
                                     const std::stop_token& stop, DeliverySource& source,
                                     const std::function<void(const QList<QUrl>&)>& arrived);

} // namespace verrabel
