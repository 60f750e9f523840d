#include "system_platform.h"

#include "clock.h"
#include "platform/desktop/desktop_workspace.h"
#include "platform/desktop/message_box_alerts.h"
#include "platform/desktop/portal_file_transfers.h"
#include "platform/desktop/qt_display.h"
#include "platform/desktop/qt_settings.h"
#include "platform/desktop/theme_file_icons.h"
#include "platform/desktop/tray_status_bar.h"
#include "platform/desktop/xdg_folders.h"
#include "platform/linux/inotify_watchers.h"
#include "platform/linux/thread_queue.h"
#include "platform/linux/timer_slack_activity.h"
#include "platform/linux/timerfd_timer.h"
#include "platform/x11/x11_compositor.h"
#include "platform/x11/x11_file_drags.h"
#include "platform/x11/x11_floating_windows.h"
#include "platform/x11/x11_motion_watch.h"
#include "platform/x11/xds_promises.h"
#include "platform/x11/xwayland_pointer.h"

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

} // namespace

struct SystemPlatform::Parts {
    // First, so that its filter of X events comes last: it turns a promise's drop into a leave
    // for Qt, and the others are to see the drop.
    XdsFilePromises promises;
    XdgFolders folders;
    QtScreens screens;
    const bool onXwayland = XwaylandPointer::isXwayland();
    X11FloatingWindows floating{X11FloatingWindows::wantsManagedWindows(onXwayland)};
    // X11 shows the pointer anywhere, and its RECORD extension hears every motion. Xwayland shows
    // the pointer only over its own windows: a presence window watches where it matters.
    std::unique_ptr<XwaylandPointer> xwayland =
        onXwayland ? std::make_unique<XwaylandPointer>(screens, floating.isManaged()) : nullptr;
    QtPointer x11Pointer;
    X11MotionWatch x11Motion;
    Pointer& pointer = xwayland ? static_cast<Pointer&>(*xwayland) : x11Pointer;
    MotionWatch& motion = xwayland ? static_cast<MotionWatch&>(*xwayland) : x11Motion;
    X11Compositor compositor;
    SystemClock clock;
    DesktopWorkspace workspace;
    MessageBoxAlerts alerts;
    ThreadQueueFactory queues;
    TimerFdTimerFactory timers{&motion};
    InotifyWatchers watchers;
    ThemeFileIcons icons;
    PortalFileTransfers transfers;
    X11FileDrags drags{transfers, queues};
    TimerSlackActivity activity;
    QtSettings settings;
    TrayStatusBar statusBar;
    Platform services{folders,   screens,  pointer,   compositor, floating, clock,
                      workspace, alerts,   queues,    timers,     watchers, icons,
                      drags,     promises, transfers, activity,   settings, statusBar};
};

SystemPlatform::SystemPlatform()
    : m_parts(std::make_unique<Parts>()) {}

SystemPlatform::~SystemPlatform() = default;

const Platform& SystemPlatform::services() const {
    return m_parts->services;
}

} // namespace verrabel
