#pragma once

#include <QString>
#include <QStringList>

namespace verrabel {

struct Alert {
    QString messageText;
    QString informativeText;
    QStringList buttons;
};

class Alerts {
public:
    virtual ~Alerts() = default;
    /// Brings the application to the front and shows the alert; returns once it is dismissed.
    virtual void runModal(const Alert& alert) = 0;
};

} // namespace verrabel
