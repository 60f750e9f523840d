#pragma once

#include "platform/linux/session_lock.h"
#include "platform/single_instance.h"

#include <QObject>
#include <QVariantMap>

#include <memory>

namespace verrabel {

/// The session bus name `id` (the application id), owned by the first Verrabel, which answers
/// org.freedesktop.Application's Activate by showing the shelf. Without a session bus, a lock
/// file in `lockFolder` keeps Verrabel to one; a later start cannot ask it for anything then.
class DbusSingleInstance final : public QObject, public SingleInstance {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
public:
    DbusSingleInstance(QString id, QString lockFolder);

    bool claim() override;
    void onShowAsked(std::function<void()> show) override;

public Q_SLOTS: // org.freedesktop.Application
    void Activate(const QVariantMap& platformData);
    void Open(const QStringList& uris, const QVariantMap& platformData);
    void ActivateAction(const QString& name, const QVariantList& parameter,
                        const QVariantMap& platformData);

private:
    const QString m_id;
    const QString m_path;
    const QString m_lockFolder;
    std::unique_ptr<SessionLock> m_lock;
    std::function<void()> m_show;
};

} // namespace verrabel
