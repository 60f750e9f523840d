#include "gnome_shell_link.h"

#include "shell_proxy.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>

namespace verrabel {

GnomeShellLink::GnomeShellLink() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected() || bus.interface() == nullptr) {
        m_known = true;
        return;
    }
    const QString service = QString::fromLatin1(ShellProxy::kService);
    m_watcher = std::make_unique<QDBusServiceWatcher>(service, bus,
                                                      QDBusServiceWatcher::WatchForOwnerChange);
    connect(m_watcher.get(), &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString& /*name*/, const QString& /*old*/, const QString& owner) {
                setPresent(!owner.isEmpty());
            });
    m_proxy = std::make_unique<ShellProxy>(bus);
    connect(m_proxy.get(), &ShellProxy::EdgePushed, this, &GnomeShellLink::edgePushed);
    connect(m_proxy.get(), &ShellProxy::PointerMoved, this,
            [this](double x, double y) { Q_EMIT pointerMoved(QPointF(x, y)); });
    connect(m_proxy.get(), &ShellProxy::StateChanged, this,
            [this](bool fullscreen, int x, int y, int width, int height) {
                m_fullscreen = fullscreen;
                m_monitor = QRect(x, y, width, height);
                Q_EMIT stateChanged();
            });
    connect(m_proxy.get(), &ShellProxy::MenuActivated, this, &GnomeShellLink::menuActivated);

    auto* asked = new QDBusPendingCallWatcher(
        bus.interface()->asyncCall(QStringLiteral("NameHasOwner"), service), this);
    connect(asked, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<bool> reply = *call;
        // An owner change may have come first; it is the later word.
        if (!m_known) {
            setPresent(reply.isValid() && reply.value());
        }
    });
}

GnomeShellLink::~GnomeShellLink() = default;

void GnomeShellLink::setPresent(bool present) {
    const bool changed = present != m_present || !m_known;
    m_present = present;
    m_known = true;
    if (present) {
        askState();
    } else {
        m_monitor = QRect();
        m_fullscreen = false;
    }
    if (changed) {
        Q_EMIT presenceChanged();
    }
}

void GnomeShellLink::askState() {
    auto* asked = new QDBusPendingCallWatcher(m_proxy->asyncCall(QStringLiteral("GetState")), this);
    connect(asked, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<bool, int, int, int, int> reply = *call;
        if (!reply.isValid() || !m_present) {
            return;
        }
        m_fullscreen = reply.argumentAt<0>();
        m_monitor = QRect(reply.argumentAt<1>(), reply.argumentAt<2>(), reply.argumentAt<3>(),
                          reply.argumentAt<4>());
        Q_EMIT stateChanged();
    });
}

void GnomeShellLink::call(const QString& method, const QVariantList& arguments) {
    if (m_proxy && m_present) {
        m_proxy->asyncCallWithArgumentList(method, arguments);
    }
}

void GnomeShellLink::watchEdge(double left, double right) {
    call(QStringLiteral("WatchEdge"), {left, right});
}

void GnomeShellLink::followPointer(bool follow) {
    call(QStringLiteral("FollowPointer"), {follow});
}

void GnomeShellLink::setMenu(const QString& name, const QStringList& entries) {
    call(QStringLiteral("SetMenu"), {name, entries});
}

} // namespace verrabel
