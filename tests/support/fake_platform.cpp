#include "fake_platform.h"

#include <QCoreApplication>

namespace verrabel::testing {

void FakeScreens::change(QList<ScreenInfo> screens) {
    list = std::move(screens);
    Q_EMIT changed();
}

QRect FakeScreens::toWindowGeometry(const QRectF& frame) const {
    const double primaryHeight = list.isEmpty() ? 0 : list.first().frame.height();
    return QRectF(frame.x(), primaryHeight - frame.y() - frame.height(), frame.width(),
                  frame.height())
        .toRect();
}

int ManualQueue::runAll() {
    int ran = 0;
    while (!items.empty()) {
        auto work = std::move(items.front());
        items.pop_front();
        work();
        ++ran;
    }
    return ran;
}

std::unique_ptr<WorkQueue> FakeQueues::makeSerialQueue(const QString& label,
                                                       QueuePriority priority) {
    auto queue = std::make_unique<ManualQueue>();
    made.append({label, priority, queue.get()});
    return queue;
}

ManualQueue& FakeQueues::queue(const QString& label) const {
    for (const Made& entry : made) {
        if (entry.label == label) {
            return *entry.queue;
        }
    }
    throw std::out_of_range("no queue with that label");
}

std::unique_ptr<RepeatingTimer> FakeTimers::makeRepeatingTimer(double intervalSeconds,
                                                               std::function<void()> onFire) {
    auto timer = std::make_unique<FakeTimer>();
    timer->interval = intervalSeconds;
    timer->onFire = std::move(onFire);
    last = timer.get();
    return timer;
}

std::unique_ptr<DirectoryWatcher> FakeWatchers::watch(const QString& path,
                                                      std::function<void()> change) {
    if (!canWatch) {
        return nullptr;
    }
    watchedPath = path;
    onChange = std::move(change);
    return std::make_unique<DirectoryWatcher>();
}

std::unique_ptr<ActivityToken> FakeActivity::begin(std::uint64_t activityOptions,
                                                   const QString& activityReason) {
    class Token final : public ActivityToken {
    public:
        explicit Token(int& active)
            : m_active(active) {
            ++m_active;
        }
        ~Token() override { --m_active; }
        Token(const Token&) = delete;
        Token& operator=(const Token&) = delete;

    private:
        int& m_active;
    };
    options = activityOptions;
    reason = activityReason;
    return std::make_unique<Token>(active);
}

FakePlatform::FakePlatform() {
    screens.list = {notchedScreen()};
}

void FakePlatform::finishScans() {
    ManualQueue& scans = queues.queue(QStringLiteral("Verrabel.scan"));
    scans.runAll();
    QCoreApplication::processEvents();
    scans.runAll();
}

ScreenInfo notchedScreen() {
    ScreenInfo screen;
    screen.frame = QRectF(0, 0, 1600, 1000);
    screen.safeAreaTop = 40;
    screen.auxiliaryTopLeftArea = QRectF(0, 960, 700, 40);
    screen.auxiliaryTopRightArea = QRectF(900, 960, 700, 40);
    return screen;
}

ScreenInfo plainScreen(const QRectF& frame) {
    ScreenInfo screen;
    screen.frame = frame;
    return screen;
}

} // namespace verrabel::testing
