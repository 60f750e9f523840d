#pragma once

#include "platform/file_transfers.h"

namespace verrabel {

/// The file transfers of the document portal (org.freedesktop.portal.Documents) on the session
/// bus. Transfers offered stay until stopped, so that a target may read the key more than once.
class PortalFileTransfers final : public FileTransfers {
public:
    PortalFileTransfers();
    [[nodiscard]] std::variant<QStringList, TransferError> retrieve(const QString& key) override;
    [[nodiscard]] std::variant<QString, TransferError>
    offer(const QList<QByteArray>& paths) override;
    void stop(const QString& key) override;
};

} // namespace verrabel
