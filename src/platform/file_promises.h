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

/// Drags that carry file promises instead of files.
class FilePromises {
public:
    virtual ~FilePromises() = default;
    [[nodiscard]] virtual bool offers(const QMimeData& data) const = 0;
    /// The drop's promises; empty when it carries none.
    [[nodiscard]] virtual QList<std::shared_ptr<FilePromise>> receivers(const QMimeData& data) = 0;
};

} // namespace verrabel
