#include "message_box_alerts.h"

#include <QMessageBox>
#include <QPushButton>

namespace verrabel {

void MessageBoxAlerts::runModal(const Alert& alert) {
    QMessageBox box(QMessageBox::Warning, QStringLiteral("Verrabel"), alert.messageText);
    box.setInformativeText(alert.informativeText);
    for (const QString& title : alert.buttons) {
        box.addButton(title, QMessageBox::AcceptRole);
    }
    // The application has no window of its own in front: put this one there.
    box.setWindowFlag(Qt::WindowStaysOnTopHint);
    box.show();
    box.raise();
    box.activateWindow();
    box.exec();
}

} // namespace verrabel
