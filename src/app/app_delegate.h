#pragma once

#include <QObject>

#include <memory>

namespace verrabel {

class ShelfController;
class StatusItem;
struct Platform;

/// Starts the shelf once the application is up, and puts the status item with its menu into
/// the tray. On the very first launch for a user it shows the shelf once.
class AppDelegate final : public QObject {
    Q_OBJECT
public:
    explicit AppDelegate(const Platform& platform);
    ~AppDelegate() override;
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    /// The launch callback: runs once the event loop has started.
    void applicationDidFinishLaunching();

    std::unique_ptr<ShelfController> shelf;
    std::unique_ptr<StatusItem> status;

private:
    const Platform& m_platform;
};

} // namespace verrabel
