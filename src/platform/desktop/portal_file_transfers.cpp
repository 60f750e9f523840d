#include "portal_file_transfers.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusUnixFileDescriptor>
#include <QVariantMap>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace verrabel {

namespace {

constexpr int kTimeoutMs = 5000;

QDBusMessage portalCall(const QString& method) {
    return QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.portal.Documents"),
                                          QStringLiteral("/org/freedesktop/portal/documents"),
                                          QStringLiteral("org.freedesktop.portal.FileTransfer"),
                                          method);
}

/// The reply, or why there is none that helps.
std::variant<QDBusMessage, TransferError> send(const QDBusMessage& call) {
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, kTimeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage) {
        return reply;
    }
    const QDBusError error(reply);
    switch (error.type()) {
    case QDBusError::ServiceUnknown:
    case QDBusError::NoServer:
    case QDBusError::Disconnected:
    case QDBusError::UnknownObject:
    case QDBusError::UnknownInterface:
    case QDBusError::UnknownMethod: // a portal too old for file transfers
        return TransferError{TransferFailure::NoPortal, error.message()};
    case QDBusError::NoReply:
    case QDBusError::Timeout:
    case QDBusError::TimedOut:
        return TransferError{TransferFailure::NoAnswer, error.message()};
    default:
        return TransferError{TransferFailure::Refused, error.message()};
    }
}

} // namespace

PortalFileTransfers::PortalFileTransfers() {
    qDBusRegisterMetaType<QList<QDBusUnixFileDescriptor>>();
}

std::variant<QStringList, TransferError> PortalFileTransfers::retrieve(const QString& key) {
    QDBusMessage call = portalCall(QStringLiteral("RetrieveFiles"));
    call << key << QVariantMap();
    auto reply = send(call);
    if (auto* error = std::get_if<TransferError>(&reply)) {
        return *error;
    }
    const QList<QVariant> answer = std::get<QDBusMessage>(reply).arguments();
    if (answer.isEmpty()) {
        return TransferError{TransferFailure::Refused, {}};
    }
    return answer.constFirst().toStringList();
}

std::variant<QString, TransferError> PortalFileTransfers::offer(const QList<QByteArray>& paths) {
    // The portal takes descriptors of the files themselves, not their names.
    QList<QDBusUnixFileDescriptor> files;
    for (const QByteArray& path : paths) {
        const int fd = ::open(path.constData(), O_PATH | O_CLOEXEC);
        if (fd < 0) {
            return TransferError{TransferFailure::Refused, QString::fromLocal8Bit(strerror(errno))};
        }
        files.append(QDBusUnixFileDescriptor(fd)); // keeps a duplicate
        ::close(fd);
    }

    QDBusMessage start = portalCall(QStringLiteral("StartTransfer"));
    start << QVariantMap{{QStringLiteral("writable"), false}, {QStringLiteral("autostop"), false}};
    auto started = send(start);
    if (auto* error = std::get_if<TransferError>(&started)) {
        return *error;
    }
    const QList<QVariant> answer = std::get<QDBusMessage>(started).arguments();
    const QString key = answer.isEmpty() ? QString() : answer.constFirst().toString();
    if (key.isEmpty()) {
        return TransferError{TransferFailure::Refused, {}};
    }
    QDBusMessage add = portalCall(QStringLiteral("AddFiles"));
    add << key << QVariant::fromValue(files) << QVariantMap();
    auto added = send(add);
    if (auto* error = std::get_if<TransferError>(&added)) {
        stop(key);
        return *error;
    }
    return key;
}

void PortalFileTransfers::stop(const QString& key) {
    QDBusMessage call = portalCall(QStringLiteral("StopTransfer"));
    call << key;
    QDBusConnection::sessionBus().send(call); // the answer is of no use
}

} // namespace verrabel
