#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class QMimeData;

namespace verrabel {

class DeliveryRules;

/// What arrived for one promised file, whole: the items the source wrote, or why none came.
struct Delivery {
    QList<QUrl> items;
    std::optional<QString> error;
    /// Given up while something still works in the folder: the folder stays, for it.
    bool folderInUse = false;
    /// The names of what the source left that is not delivered, for the error's reason.
    QStringList failed{};
};

/// A file that the drag's source writes only once the drop has said where.
class FilePromise {
public:
    using Delivered = std::function<void(const Delivery&)>;

    virtual ~FilePromise() = default;
    /// Asks the source to write into `folder`; to be called during the drop. `rules` decide
    /// when what arrives there is complete; `delivered` runs on the main thread once.
    virtual void receive(const QString& folder, std::unique_ptr<DeliveryRules> rules,
                         Delivered delivered) = 0;
};

/// A drop's document-portal transfer key, once its source gave it; none when it gave none in
/// time.
using TransferKeyRead = std::function<void(const std::optional<QString>& key)>;

/// Drags that carry promises of files instead of files: files their source writes once the
/// drop said where, or a transfer key the document portal gives the files for.
class FilePromises {
public:
    virtual ~FilePromises() = default;
    [[nodiscard]] virtual bool offers(const QMimeData& data) const = 0;
    /// The drop's promises; empty when it carries none.
    [[nodiscard]] virtual QList<std::shared_ptr<FilePromise>> receivers(const QMimeData& data) = 0;
    /// During the drop: reads its transfer key without waiting for the source, and answers on
    /// the main thread within ten seconds. False where the key can only be read from `data` at
    /// once.
    virtual bool readTransferKey(const QMimeData& data, TransferKeyRead read) = 0;
};

} // namespace verrabel
