#pragma once

#include "platform/delivery_rules.h"

#include <sys/types.h>

#include <stop_token>

namespace verrabel {

/// The source of a promised file, as the watch over its folder hears it.
class DeliverySource {
public:
    virtual ~DeliverySource() = default;
    /// A descriptor that becomes readable when the source may have news; -1 for none.
    [[nodiscard]] virtual int descriptor() const = 0;
    /// Takes in whatever news there is, without waiting: what the source has said so far.
    virtual SourceAnswer answer() = 0;
    /// The source's process, where it is known (else 0). The children it starts after the drop
    /// are its helpers: they may write for it from elsewhere.
    [[nodiscard]] virtual pid_t process() const = 0;
};

/// The name a source proposes, if it is one plain path component; else a name of our own.
[[nodiscard]] QString safeFileName(const QByteArray& proposed);

/// Waits on the calling thread until `rules` find what a source writes into `folder` complete,
/// sleeping until the folder changes, the source speaks, a process seen working in the folder
/// or helper ends, or the rules' next look is due. Each look tells the rules the regular files
/// and folders directly in the folder, who works in it and whether any known writer still runs.
[[nodiscard]] Delivery awaitDelivery(const QString& folder, DeliveryRules& rules,
                                     const std::stop_token& stop, DeliverySource& source);

} // namespace verrabel
