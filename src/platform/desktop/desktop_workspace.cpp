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

void DesktopWorkspace::revealItems(const QList<QUrl>& items) {
    if (items.isEmpty()) {
        return;
    }
    const QUrl folder = folderOf(items.constFirst());
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openUrl(folder);
        return;
    }
    QStringList uris;
    for (const QUrl& item : items) {
        uris.append(item.toString(QUrl::FullyEncoded));
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << uris << QString();
    // Asynchronous: starting the file manager by D-Bus activation can take a moment.
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [this, folder](QDBusPendingCallWatcher* finished) {
                         if (finished->isError()) {
                             openUrl(folder);
                         }
                         finished->deleteLater();
                     });
}

} // namespace verrabel
