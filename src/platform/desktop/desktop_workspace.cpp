#include "desktop_workspace.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>

namespace verrabel {

namespace {

QUrl folderOf(const QUrl& item) {
    return item.adjusted(QUrl::StripTrailingSlash).adjusted(QUrl::RemoveFilename);
}

} // namespace

bool DesktopWorkspace::openUrl(const QUrl& url) {
    return QDesktopServices::openUrl(url);
}

void DesktopWorkspace::revealItem(const QUrl& item) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openUrl(folderOf(item));
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{item.toString(QUrl::FullyEncoded)} << QString();
    // Asynchronous: starting the file manager by D-Bus activation can take a moment.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [this, item](QDBusPendingCallWatcher* finished) {
                         if (finished->isError()) {
                             openUrl(folderOf(item));
                         }
                         finished->deleteLater();
                     });
}

} // namespace verrabel
