#include "dbus_single_instance.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>

namespace verrabel {

namespace {

constexpr auto kApplication = "org.freedesktop.Application";
// A later start waits at most this long for the running one to take its word; it then ends
// either way.
constexpr int kAskTimeoutMs = 800;

} // namespace

DbusSingleInstance::DbusSingleInstance(QString id)
    : m_id(std::move(id))
    , m_path(QLatin1Char('/') + QString(m_id).replace(QLatin1Char('.'), QLatin1Char('/'))) {}

bool DbusSingleInstance::claim() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || bus.interface() == nullptr) {
        const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
        const QDir folder(!runtime.isEmpty() && QDir(runtime).exists() ? runtime
                                                                       : QDir::tempPath());
        m_lock = std::make_unique<SessionLock>(folder.filePath(m_id + QStringLiteral(".lock")));
        return m_lock->held();
    }
    // The object first, so that a start that finds the name taken can always be answered.
    bus.registerObject(m_path, this, QDBusConnection::ExportAllSlots);
    const auto registered =
        bus.interface()->registerService(m_id, QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (registered.isValid() && registered.value() == QDBusConnectionInterface::ServiceRegistered) {
        return true;
    }
    bus.unregisterObject(m_path);
    QDBusMessage activate = QDBusMessage::createMethodCall(
        m_id, m_path, QString::fromLatin1(kApplication), QStringLiteral("Activate"));
    activate << QVariantMap();
    bus.call(activate, QDBus::Block, kAskTimeoutMs);
    return false;
}

void DbusSingleInstance::release() {
    m_lock.reset();
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected() && bus.interface() != nullptr) {
        bus.interface()->unregisterService(m_id);
        bus.unregisterObject(m_path);
    }
}

void DbusSingleInstance::onShowAsked(std::function<void()> show) {
    m_show = std::move(show);
}

void DbusSingleInstance::Activate(const QVariantMap& /*platformData*/) {
    if (m_show) {
        m_show();
    }
}

} // namespace verrabel
