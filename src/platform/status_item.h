#pragma once

#include <QIcon>
#include <QString>

#include <memory>

class QMenu;

namespace verrabel {

/// The application's icon in the panel's notification area (the system tray).
class StatusItem {
public:
    virtual ~StatusItem() = default;
    virtual void setImage(const QIcon& image, const QString& accessibilityDescription) = 0;
    /// The menu that a click on the item opens; the item keeps it.
    virtual void setMenu(std::unique_ptr<QMenu> menu) = 0;
    [[nodiscard]] virtual QMenu* menu() const = 0;
};

class StatusBar {
public:
    virtual ~StatusBar() = default;
    [[nodiscard]] virtual std::unique_ptr<StatusItem> makeStatusItem() = 0;
};

} // namespace verrabel
