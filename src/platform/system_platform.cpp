#include "system_platform.h"

#include "clock.h"
#include "platform/desktop/desktop_workspace.h"
#include "platform/desktop/message_box_alerts.h"
#include "platform/desktop/portal_file_transfers.h"
#include "platform/desktop/qt_display.h"
#include "platform/desktop/qt_settings.h"
#include "platform/desktop/theme_file_icons.h"
#include "platform/desktop/xdg_folders.h"
#include "platform/gnome_shell/gnome_shell_link.h"
#include "platform/gnome_shell/shell_status_bar.h"
#include "platform/linux/inotify_watchers.h"
#include "platform/linux/thread_queue.h"
#include "platform/linux/timer_slack_activity.h"
#include "platform/linux/timerfd_timer.h"
#include "platform/window_system.h"

#include <QGuiApplication>

#include <chrono>

namespace verrabel {

namespace {

class SystemClock final : public Clock {
public:
    [[nodiscard]] Date now() const override {
        return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
            .count();
    }
};

/// Natively on Wayland where Qt runs there (the session chose it), else as an X11 client.
std::unique_ptr<WindowSystem> makeWindowSystem(const WindowSystemNeeds& needs) {
    if (QGuiApplication::platformName() == QLatin1String("wayland")) {
        if (auto native = makeLayerShellWindowSystem(needs)) {
            return native;
        }
    }
    return makeX11WindowSystem(needs);
}

} // namespace

struct SystemPlatform::Parts {
    XdgFolders folders;
    QtScreens screens;
    ThreadQueueFactory queues;
    PortalFileTransfers transfers;
    GnomeShellLink shell;
    // Before everything else that filters X events: see the X11 window system.
    std::unique_ptr<WindowSystem> windows = makeWindowSystem({screens, transfers, queues, shell});
    SystemClock clock;
    DesktopWorkspace workspace;
    MessageBoxAlerts alerts;
    TimerFdTimerFactory timers{&windows->motion()};
    InotifyWatchers watchers;
    ThemeFileIcons icons;
    TimerSlackActivity activity;
    QtSettings settings;
    ShellStatusBar statusBar{shell};
    Platform services{folders,
                      screens,
                      windows->pointer(),
                      windows->compositor(),
                      windows->floating(),
                      windows->fullscreen(),
                      clock,
                      workspace,
                      alerts,
                      queues,
                      timers,
                      watchers,
                      icons,
                      windows->drags(),
                      windows->promises(),
                      transfers,
                      activity,
                      settings,
                      statusBar};
};

SystemPlatform::SystemPlatform()
    : m_parts(std::make_unique<Parts>()) {}

SystemPlatform::~SystemPlatform() = default;

const Platform& SystemPlatform::services() const {
    return m_parts->services;
}

} // namespace verrabel
