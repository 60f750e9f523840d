#pragma once

#include "platform/alerts.h"
#include "platform/clock.h"
#include "platform/directory_watcher.h"
#include "platform/display.h"
#include "platform/file_drags.h"
#include "platform/file_icons.h"
#include "platform/file_promises.h"
#include "platform/file_transfers.h"
#include "platform/folders.h"
#include "platform/platform.h"
#include "platform/process_activity.h"
#include "platform/repeating_timer.h"
#include "platform/settings.h"
#include "platform/status_item.h"
#include "platform/work_queue.h"
#include "platform/workspace.h"
#include "shelf/shelf_controller.h"
#include "support/files.h"

#include <QCoreApplication>
#include <QHash>
#include <QMenu>
#include <QWidget>

#include <deque>

namespace verrabel::testing {

// Fakes of the platform's services: settable, recording, and never blocking.

struct FakeFolders final : Folders {
    QString desktopPath = QStringLiteral("/nonexistent/Desktop");
    QString thumbnailsPath = QStringLiteral("/nonexistent/thumbnails");
    [[nodiscard]] QString desktop() const override { return desktopPath; }
    [[nodiscard]] QString thumbnails() const override { return thumbnailsPath; }
};

/// Screens in global y-up points; the first is the primary screen.
struct FakeScreens final : Screens {
    QList<ScreenInfo> list;
    /// Replaces the screens and announces it, as a display being plugged in would.
    void change(QList<ScreenInfo> screens) {
        list = std::move(screens);
        Q_EMIT changed();
    }
    [[nodiscard]] QList<ScreenInfo> screens() const override { return list; }
    [[nodiscard]] QRect toWindowGeometry(const QRectF& frame) const override {
        const double top = list.isEmpty() ? 0 : list.first().frame.height();
        return QRectF(frame.x(), top - frame.bottom(), frame.width(), frame.height()).toRect();
    }
};

struct FakePointer final : Pointer {
    std::optional<QPointF> point{QPointF(-1000, -1000)};
    QList<QRectF> zones;
    bool onlyWhereTaken = false;
    [[nodiscard]] std::optional<QPointF> location() override { return point; }
    void watch(const QList<QRectF>& watched, const QWidget& /*panel*/) override { zones = watched; }
    [[nodiscard]] bool seenOnlyWhereTaken() const override { return onlyWhereTaken; }
};

struct FakeCompositor final : Compositor {
    bool active = true;
    [[nodiscard]] bool isActive() const override { return active; }
};

/// Frameless, as the real ones are: Qt's offscreen platform offsets framed windows.
struct FakeFloating final : FloatingWindows {
    void setUp(QWidget& window, Stacking /*stacking*/) override {
        window.setWindowFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
    }
};

struct FakeFullscreen final : FullscreenWatch {
    std::optional<QRectF> frame;
    /// The active window goes fullscreen at `frame`, or leaves it (none).
    void set(std::optional<QRectF> fullscreen) {
        frame = fullscreen;
        Q_EMIT changed();
    }
    [[nodiscard]] QList<QRectF> fullscreenFrames() const override {
        return frame ? QList<QRectF>{*frame} : QList<QRectF>{};
    }
};

struct FakeClock final : Clock {
    Date time = 1'700'000'000.0;
    [[nodiscard]] Date now() const override { return time; }
    void advance(double seconds) { time += seconds; }
};

struct FakeWorkspace final : Workspace {
    QList<QUrl> opened;
    bool openUrl(const QUrl& url) override { return opened.append(url), true; }
    QList<QList<QUrl>> revealed;
    void revealItems(const QList<QUrl>& items) override { revealed.append(items); }
};

struct FakeAlerts final : Alerts {
    QList<Alert> shown;
    void runModal(const Alert& alert) override { shown.append(alert); }
};

/// A queue whose items run on the test's own thread, when the test says so.
struct ManualQueue final : WorkQueue {
    std::deque<std::function<void()>> items;
    void submit(std::function<void()> work) override { items.push_back(std::move(work)); }
    /// Runs every item, also those submitted meanwhile.
    void runAll() {
        while (!items.empty()) {
            auto work = std::move(items.front());
            items.pop_front();
            work();
        }
    }
};

struct FakeQueues final : QueueFactory {
    QHash<QString, ManualQueue*> made;
    [[nodiscard]] std::unique_ptr<WorkQueue> makeSerialQueue(const QString& label,
                                                             QueuePriority /*priority*/) override {
        auto queue = std::make_unique<ManualQueue>();
        made.insert(label, queue.get());
        return queue;
    }
};

struct FakeTimer final : RepeatingTimer {
    std::function<void()> onFire;
    int idleSteps = 0;
    std::optional<QPointF> idlePoint;
    int resumes = 0;
    void schedule() override {}
    void idleAt(const std::optional<QPointF>& pointer) override {
        ++idleSteps;
        idlePoint = pointer;
    }
    void resume() override { ++resumes; }
};

struct FakeTimers final : TimerFactory {
    FakeTimer* last = nullptr;
    [[nodiscard]] std::unique_ptr<RepeatingTimer>
    makeRepeatingTimer(double /*interval*/, std::function<void()> onFire) override {
        auto timer = std::make_unique<FakeTimer>();
        timer->onFire = std::move(onFire);
        last = timer.get();
        return timer;
    }
};

struct FakeWatchers final : DirectoryWatchers {
    QString watchedPath;
    std::function<void()> onChange;
    [[nodiscard]] std::unique_ptr<DirectoryWatcher> watch(const QString& path,
                                                          std::function<void()> change) override {
        watchedPath = path;
        onChange = std::move(change);
        return std::make_unique<DirectoryWatcher>();
    }
};

struct FakeIcons final : FileIcons {
    [[nodiscard]] QIcon iconFor(const QString& /*name*/, FileKind /*kind*/) override { return {}; }
};

/// The document portal, answering from `files` by key and offering a file by its path as the
/// key; records the keys asked for and stopped.
struct FakeTransfers final : FileTransfers {
    QHash<QString, std::variant<QStringList, TransferError>> files;
    QStringList retrieved;
    bool offersNone = false;
    QStringList stopped;
    [[nodiscard]] std::variant<QStringList, TransferError> retrieve(const QString& key) override {
        retrieved.append(key);
        return files.value(key, TransferError{TransferFailure::NoPortal, {}});
    }
    [[nodiscard]] std::variant<QString, TransferError>
    offer(const QList<QByteArray>& paths) override {
        if (offersNone) {
            return TransferError{TransferFailure::NoPortal, {}};
        }
        return QString::fromUtf8(paths.join('\n'));
    }
    void stop(const QString& key) override { stopped.append(key); }
};

/// Records drags; `during` runs while a drag is under way, as the user would move about.
struct FakeDrags final : FileDrags {
    /// Each drag's files.
    QList<QList<QUrl>> dragged;
    std::function<void()> during;
    void dragOut(QWidget* /*source*/, const QList<QUrl>& files, const QIcon& /*icon*/) override {
        dragged.append(files);
        if (during) {
            during();
        }
    }
};

/// A promise whose deliveries the test makes.
struct FakePromise final : FilePromise {
    QString folder;
    Delivered delivered;
    void receive(const QString& destination, std::unique_ptr<DeliveryRules> /*rules*/,
                 Delivered onDelivered) override {
        folder = destination;
        delivered = std::move(onDelivered);
    }
};

struct FakePromises final : FilePromises {
    QList<std::shared_ptr<FilePromise>> next;
    /// Transfer keys are read in the background, as on X11, and answered by the test.
    bool readsKeysLater = false;
    TransferKeyRead keyRead;
    [[nodiscard]] bool offers(const QMimeData& /*data*/) const override { return !next.isEmpty(); }
    [[nodiscard]] QList<std::shared_ptr<FilePromise>> receivers(const QMimeData& /*d*/) override {
        return std::exchange(next, {});
    }
    bool readTransferKey(const QMimeData& /*data*/, TransferKeyRead read) override {
        if (readsKeysLater) {
            keyRead = std::move(read);
        }
        return readsKeysLater;
    }
};

struct FakeActivity final : ProcessActivity {
    [[nodiscard]] std::unique_ptr<ActivityToken> begin(std::uint64_t /*options*/,
                                                       const QString& /*reason*/) override {
        return std::make_unique<ActivityToken>();
    }
};

struct FakeSettings final : Settings {
    QHash<QString, bool> values;
    [[nodiscard]] bool boolValue(const QString& key) const override { return values.value(key); }
    void setBool(const QString& key, bool value) override { values.insert(key, value); }
};

struct FakeStatusItem final : StatusItem {
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

struct FakeStatusBar final : StatusBar {
    [[nodiscard]] std::unique_ptr<StatusItem> makeStatusItem() override {
        return std::make_unique<FakeStatusItem>();
    }
};

/// The design's notched screen: frame (0, 0, 1600, 1000), housing 40 high from x 700 to 900.
[[nodiscard]] inline ScreenInfo notchedScreen() {
    return {QRectF(0, 0, 1600, 1000), 40, QRectF(0, 960, 700, 40), QRectF(900, 960, 700, 40)};
}
/// A screen without a camera housing.
[[nodiscard]] inline ScreenInfo plainScreen(const QRectF& frame) {
    return {frame, 0, std::nullopt, std::nullopt};
}

/// The fakes as one platform, on the notched 1600 × 1000 screen of the design.
struct FakePlatform {
    FakePlatform() { screens.list = {notchedScreen()}; }
    [[nodiscard]] ManualQueue& queue(const QString& label) const {
        return *queues.made.value(label);
    }
    /// Runs the queued Desktop scans, delivers their results, and lets the scan queue free
    /// them again, as the real queue would in the background.
    void finishScans() const {
        queue("Verrabel.scan").runAll();
        QCoreApplication::processEvents();
        queue("Verrabel.scan").runAll();
    }
    /// One hover timer step.
    void tick() const { timers.last->onFire(); }

    FakeFolders folders;
    FakeScreens screens;
    FakePointer pointer;
    FakeCompositor compositor;
    FakeFloating floating;
    FakeFullscreen fullscreen;
    FakeClock clock;
    FakeWorkspace workspace;
    FakeAlerts alerts;
    FakeQueues queues;
    FakeTimers timers;
    FakeWatchers watchers;
    FakeIcons icons;
    FakeDrags drags;
    FakePromises promises;
    FakeTransfers transfers;
    FakeActivity activity;
    FakeSettings settings;
    FakeStatusBar statusBar;
    Platform services{folders,   screens,   pointer,  compositor, floating, fullscreen, clock,
                      workspace, alerts,    queues,   timers,     watchers, icons,      drags,
                      promises,  transfers, activity, settings,   statusBar};
};

/// A shelf whose Desktop is real, in a throw-away folder: Desktop/ and from/, the files' source.
/// Its first scan and its start-up sweep have run.
class ShelfTest : public ::testing::Test {
protected:
    ShelfTest() {
        for (const char* folder : {"Desktop", "from"}) {
            files.mkdir(folder);
        }
        platform.folders.desktopPath = files.path("Desktop");
        platform.folders.thumbnailsPath = files.path("thumbnails");
        shelf = std::make_unique<ShelfController>(platform.services);
        platform.finishScans();
        queue("Verrabel.files").runAll(); // the start-up sweep of half-made copies
    }
    [[nodiscard]] ManualQueue& queue(const QString& label) const { return platform.queue(label); }
    /// Runs the copies and receptions queued, and delivers what they report.
    void finishWork() {
        // Deliveries reach the promise queue from the main thread.
        QCoreApplication::processEvents();
        queue("Verrabel.files").runAll();
        queue("").runAll();
        QCoreApplication::processEvents();
        platform.finishScans();
    }

    Files files;
    FakePlatform platform;
    std::unique_ptr<ShelfController> shelf;
};

} // namespace verrabel::testing
