#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <variant>

namespace verrabel {

/// The type under which a drag carries a document-portal transfer key.
inline constexpr const char* kTransferKeyType = "application/vnd.portal.filetransfer";

/// Why the desktop's document portal gave no answer that helps.
enum class TransferFailure {
    NoPortal, ///< nothing on the session bus answers for it
    Refused,  ///< it answered with an error
    NoAnswer, ///< it did not answer in time
};

struct TransferError {
    TransferFailure failure = TransferFailure::Refused;
    /// The portal's own words, when it said any.
    QString detail;
};

/// Files handed between applications through the desktop's document portal, by a key, as
/// sandboxed applications do. Every call waits for the portal: for background threads.
class FileTransfers {
public:
    virtual ~FileTransfers() = default;
    /// The paths of the files behind a key that another application made.
    [[nodiscard]] virtual std::variant<QStringList, TransferError> retrieve(const QString& key) = 0;
    /// A key that gives whoever retrieves it a read-only way to the regular files at `paths`;
    /// an error when one of them cannot be offered.
    [[nodiscard]] virtual std::variant<QString, TransferError>
    offer(const QList<QByteArray>& paths) = 0;
    /// Ends a transfer that offer() made; does not wait for the portal.
    virtual void stop(const QString& key) = 0;
};

} // namespace verrabel
