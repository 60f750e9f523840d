#include "gnome_shell_link.h"

#include "shell_proxy.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
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
    connect(m_proxy.get(), &ShellProxy::StateChanged, this, &GnomeShellLink::takeState);
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
        m_fullscreen.clear();
    }
    if (changed) {
        Q_EMIT presenceChanged();
    }
}

void GnomeShellLink::askState() {
    auto* asked = new QDBusPendingCallWatcher(m_proxy->asyncCall(QStringLiteral("GetState")), this);
    connect(asked, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* call) {
        call->deleteLater();
        const QDBusPendingReply<int, int, int, int, QList<int>> reply = *call;
        // An extension of another version, loaded until the next login, is none for us.
        if (reply.isError() && m_present &&
            (reply.error().type() == QDBusError::UnknownInterface ||
             reply.error().type() == QDBusError::UnknownMethod)) {
            setPresent(false);
        } else if (reply.isValid() && m_present) {
            takeState(reply.argumentAt<0>(), reply.argumentAt<1>(), reply.argumentAt<2>(),
                      reply.argumentAt<3>(), reply.argumentAt<4>());
        }
    });
}

void GnomeShellLink::takeState(int x, int y, int width, int height, const QList<int>& fullscreen) {
    m_monitor = QRect(x, y, width, height);
    // Four numbers a monitor.
    m_fullscreen.clear();
    for (qsizetype i = 0; i + 3 < fullscreen.size(); i += 4) {
        m_fullscreen.append(
            QRect(fullscreen[i], fullscreen[i + 1], fullscreen[i + 2], fullscreen[i + 3]));
    }
    Q_EMIT stateChanged();
}

void GnomeShellLink::call(const QString& method, const QVariantList& arguments) {
    if (m_proxy && m_present) {
        m_proxy->asyncCallWithArgumentList(method, arguments);
    }
}

void GnomeShellLink::watchEdges(const QList<ShellEdge>& edges) {
    // Left, right, top and whether pushable of each, one after another.
    QList<double> spans;
    for (const ShellEdge& edge : edges) {
        spans << edge.span.left() << edge.span.right() << edge.span.top()
              << (edge.pushable ? 1.0 : 0.0);
    }
    call(QStringLiteral("WatchEdges"), {QVariant::fromValue(spans)});
}

void GnomeShellLink::followPointer(bool follow) {
    call(QStringLiteral("FollowPointer"), {follow});
}

void GnomeShellLink::setMenu(const QString& name, const QStringList& entries) {
    call(QStringLiteral("SetMenu"), {name, entries});
}

} // namespace verrabel
