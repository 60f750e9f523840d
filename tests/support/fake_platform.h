#pragma once

#include "platform/alerts.h"
#include "platform/clock.h"
#include "platform/directory_watcher.h"
#include "platform/display.h"
#include "platform/file_drags.h"
#include "platform/file_icons.h"
#include "platform/file_promises.h"
#include "platform/folders.h"
#include "platform/platform.h"
#include "platform/process_activity.h"
#include "platform/repeating_timer.h"
#include "platform/settings.h"
#include "platform/status_item.h"
#include "platform/work_queue.h"
#include "platform/workspace.h"

#include <QHash>
#include <QMenu>

#include <deque>

namespace verrabel::testing {

class FakeFolders final : public Folders {
public:
    QString desktopPath = QStringLiteral("/nonexistent/Desktop");
    QString temporaryPath = QStringLiteral("/nonexistent/tmp");
    [[nodiscard]] QString desktop() const override { return desktopPath; }
    [[nodiscard]] QString temporary() const override { return temporaryPath; }
};

/// Screens given in global y-up points; the first one is the primary screen.
class FakeScreens final : public Screens {
public:
    QList<ScreenInfo> list;
    /// Replaces the screens and announces the change, as a display being plugged in would.
    void change(QList<ScreenInfo> screens);
    [[nodiscard]] QList<ScreenInfo> screens() const override { return list; }
    [[nodiscard]] QRect toWindowGeometry(const QRectF& frame) const override;
};

class FakePointer final : public Pointer {
public:
    std::optional<QPointF> point{QPointF(-1000, -1000)};
    QList<QRectF> zones;
    [[nodiscard]] std::optional<QPointF> location() override { return point; }
    void watch(const QList<QRectF>& watched, const QWidget& /*panel*/) override { zones = watched; }
};

class FakeCompositor final : public Compositor {
public:
    bool active = true;
    [[nodiscard]] bool isActive() const override { return active; }
};

class FakeClock final : public Clock {
public:
    Date time = 1'700'000'000.0;
    [[nodiscard]] Date now() const override { return time; }
    void advance(double seconds) { time += seconds; }
};

class FakeWorkspace final : public Workspace {
public:
    QList<QUrl> opened;
    QList<QUrl> revealed;
    bool openUrl(const QUrl& url) override {
        opened.append(url);
        return true;
    }
    void revealItem(const QUrl& item) override { revealed.append(item); }
};

/// Records alerts instead of blocking on them.
class FakeAlerts final : public Alerts {
public:
    QList<Alert> shown;
    void runModal(const Alert& alert) override { shown.append(alert); }
};

/// A queue whose items run on the test's own thread, when the test says so.
class ManualQueue final : public WorkQueue {
public:
    std::deque<std::function<void()>> items;
    void submit(std::function<void()> work) override { items.push_back(std::move(work)); }
    /// Runs every item, including those submitted while running; returns how many ran.
    int runAll();
};

class FakeQueues final : public QueueFactory {
public:
    struct Made {
        QString label;
        QueuePriority priority;
        ManualQueue* queue;
    };
    QList<Made> made;
    [[nodiscard]] std::unique_ptr<WorkQueue> makeSerialQueue(const QString& label,
                                                             QueuePriority priority) override;
    [[nodiscard]] ManualQueue& queue(const QString& label) const;
};

class FakeTimer final : public RepeatingTimer {
public:
    double interval = 0;
    std::function<void()> onFire;
    bool scheduled = false;
    int idleSteps = 0;
    std::optional<QPointF> idlePoint;
    int resumes = 0;
    void schedule() override { scheduled = true; }
    void idleAt(const std::optional<QPointF>& pointer) override {
        ++idleSteps;
        idlePoint = pointer;
    }
    void resume() override { ++resumes; }
    void fire() const { onFire(); }
};

class FakeTimers final : public TimerFactory {
public:
    FakeTimer* last = nullptr;
    [[nodiscard]] std::unique_ptr<RepeatingTimer>
    makeRepeatingTimer(double intervalSeconds, std::function<void()> onFire) override;
};

class FakeWatchers final : public DirectoryWatchers {
public:
    bool canWatch = true;
    QString watchedPath;
    std::function<void()> onChange;
    [[nodiscard]] std::unique_ptr<DirectoryWatcher> watch(const QString& path,
                                                          std::function<void()> change) override;
};

class FakeIcons final : public FileIcons {
public:
    int lookups = 0;
    [[nodiscard]] QIcon iconFor(const QString& /*name*/, FileKind /*kind*/) override {
        ++lookups;
        return {};
    }
};

/// Records drags; `during` runs while a drag is under way, as the user would move about.
class FakeDrags final : public FileDrags {
public:
    QList<QUrl> dragged;
    std::function<void()> during;
    void dragOut(QWidget* /*source*/, const QUrl& file, const QIcon& /*icon*/) override {
        dragged.append(file);
        if (during) {
            during();
        }
    }
};

/// A promise whose deliveries the test makes.
class FakePromise final : public FilePromise {
public:
    explicit FakePromise(QStringList announced = {})
        : names(std::move(announced)) {}
    QStringList names;
    QString folder;
    Delivered delivered;
    [[nodiscard]] QStringList fileNames() const override { return names; }
    void receive(const QString& destination, Delivered onDelivered) override {
        folder = destination;
        delivered = std::move(onDelivered);
    }
};

class FakePromises final : public FilePromises {
public:
    QList<std::shared_ptr<FilePromise>> next;
    [[nodiscard]] bool offers(const QMimeData& /*data*/) const override { return !next.isEmpty(); }
    [[nodiscard]] QList<std::shared_ptr<FilePromise>>
    receivers(const QMimeData& /*data*/) override {
        return std::exchange(next, {});
    }
};

class FakeActivity final : public ProcessActivity {
public:
    std::uint64_t options = 0;
    QString reason;
    int active = 0;
    [[nodiscard]] std::unique_ptr<ActivityToken> begin(std::uint64_t activityOptions,
                                                       const QString& activityReason) override;
};

class FakeSettings final : public Settings {
public:
    QHash<QString, bool> values;
    [[nodiscard]] bool boolValue(const QString& key) const override { return values.value(key); }
    void setBool(const QString& key, bool value) override { values.insert(key, value); }
};

class FakeStatusItem final : public StatusItem {
public:
    QIcon image;
    QString description;
    std::unique_ptr<QMenu> ownMenu;
    void setImage(const QIcon& icon, const QString& accessibilityDescription) override {
        image = icon;
        description = accessibilityDescription;
    }
    void setMenu(std::unique_ptr<QMenu> newMenu) override { ownMenu = std::move(newMenu); }
    [[nodiscard]] QMenu* menu() const override { return ownMenu.get(); }
};

class FakeStatusBar final : public StatusBar {
public:
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override {
        return std::make_unique<FakeStatusItem>();
    }
};

/// The fakes as one platform. Starts with the notched 1600 × 1000 screen of the design.
struct FakePlatform {
    FakePlatform();

    /// Runs the Desktop scans that are queued, delivers their results to the main thread, and
    /// lets the scan queue free them again, as the real queue would in the background.
    void finishScans();

    FakeFolders folders;
    FakeScreens screens;
    FakePointer pointer;
    FakeCompositor compositor;
    FakeClock clock;
    FakeWorkspace workspace;
    FakeAlerts alerts;
    FakeQueues queues;
    FakeTimers timers;
    FakeWatchers watchers;
    FakeIcons icons;
    FakeDrags drags;
    FakePromises promises;
    FakeActivity activity;
    FakeSettings settings;
    FakeStatusBar statusBar;
    Platform services{folders,  screens,  pointer,  compositor, clock, workspace,
                      alerts,   queues,   timers,   watchers,   icons, drags,
                      promises, activity, settings, statusBar};
};

/// The design's notched screen: frame (0, 0, 1600, 1000), housing 40 high from x 700 to 900.
[[nodiscard]] ScreenInfo notchedScreen();
/// A screen without a camera housing.
[[nodiscard]] ScreenInfo plainScreen(const QRectF& frame);

} // namespace verrabel::testing
