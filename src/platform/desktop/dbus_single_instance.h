#pragma once

#include "platform/linux/session_lock.h"

#include <QObject>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace verrabel {

/// One Verrabel per session: the session bus name `id` (see instanceName()), owned by the first
/// start, which answers org.freedesktop.Application's Activate by showing the shelf. Without a
/// session bus, a lock file in $XDG_RUNTIME_DIR (else the temporary folder) keeps it to one; a
/// later start cannot ask the first for anything then.
class DbusSingleInstance final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")
public:
    explicit DbusSingleInstance(QString id);

    /// Claims the session for this process: true when it is the first. Otherwise the one that
    /// runs has been asked to show the shelf, where it can be asked, and this one is to end.
    bool claim();
    /// Gives the session up, first thing when quitting: a start from then on runs a Verrabel of
    /// its own instead of asking this one.
    void release();
    /// What to do when a later start asks this one to show the shelf.
    void onShowAsked(std::function<void()> show);

public Q_SLOTS: // org.freedesktop.Application; the only method a later start calls
    void Activate(const QVariantMap& platformData);

private:
    const QString m_id;
    const QString m_path;
    std::unique_ptr<SessionLock> m_lock;
    std::function<void()> m_show;
};

} // namespace verrabel
