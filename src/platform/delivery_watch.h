#pragma once

#include "file_promises.h"

#include <stop_token>

namespace verrabel {

/// How long to wait for a source that writes a promised file into a folder.
struct DeliveryTimes {
    /// The folder must have stayed unchanged this long, with nothing in it open, to be complete.
    double quiet = 0.5;
    /// With nothing changing for this long, the file is not coming.
    double idleLimit = 30;
    /// After the source has said it could not save, the folder gets only this long.
    double afterRefusal = 5;
    double pollInterval = 0.1;
};

/// The name a source proposes, if it is one plain path component; else a name of our own.
[[nodiscard]] QString safeFileName(const QByteArray& proposed);

/// Waits on the calling thread until what a source writes into `folder` is complete, and
/// says what arrived: the regular files and folders directly in it. What the source said is
/// only a hint (`refused`): some sources report an error for a file they did write.
[[nodiscard]] Delivery awaitDelivery(const QString& folder, bool refused,
                                     const DeliveryTimes& times, const std::stop_token& stop);

} // namespace verrabel
