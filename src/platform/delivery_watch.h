#pragma once

#include "file_promises.h"

#include <functional>
#include <stop_token>

namespace verrabel {

/// What the source of a promised file has said about it so far.
enum class SourceAnswer {
    None,    ///< nothing (yet): it may answer later, or never
    Saved,   ///< the file is written
    Refused, ///< it could not write the file
};

/// How long to wait for a source that writes a promised file into a folder.
struct DeliveryTimes {
    /// Once the source says the file is written, the folder must have stayed unchanged this
    /// long, with nothing in it open, to be complete.
    double quiet = 0.5;
    /// The same for a source that never says so. Long enough for pauses between writes.
    double unansweredQuiet = 10;
    /// With nothing changing for this long, the file is not coming.
    double idleLimit = 30;
    /// After the source has said it could not save, the folder gets only this long.
    double afterRefusal = 5;
    double pollInterval = 0.1;
};

/// Waits up to the given seconds for news from the source; what it has said so far.
using SourceWait = std::function<SourceAnswer(double seconds, const std::stop_token& stop)>;

/// The name a source proposes, if it is one plain path component; else a name of our own.
[[nodiscard]] QString safeFileName(const QByteArray& proposed);

/// Waits on the calling thread until what a source writes into `folder` is complete, and
/// says what arrived: the regular files and folders directly in it. The source's answer tells
/// how long a quiet folder must stay quiet; some sources report an error for a file they did
/// write, so the folder has the last word.
[[nodiscard]] Delivery awaitDelivery(const QString& folder, const DeliveryTimes& times,
                                     const std::stop_token& stop, const SourceWait& source);

} // namespace verrabel
