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

void ManualQueue::runAll() {
    while (!items.empty()) {
        auto work = std::move(items.front());
        items.pop_front();
        work();
    }
}

std::unique_ptr<WorkQueue> FakeQueues::makeSerialQueue(const QString& label,
                                                       QueuePriority /*priority*/) {
    auto queue = std::make_unique<ManualQueue>();
    made.insert(label, queue.get());
    return queue;
}

std::unique_ptr<RepeatingTimer> FakeTimers::makeRepeatingTimer(double /*interval*/,
                                                               std::function<void()> onFire) {
    auto timer = std::make_unique<FakeTimer>();
    timer->onFire = std::move(onFire);
    last = timer.get();
    return timer;
}

std::unique_ptr<DirectoryWatcher> FakeWatchers::watch(const QString& path,
                                                      std::function<void()> change) {
    watchedPath = path;
    onChange = std::move(change);
    return std::make_unique<DirectoryWatcher>();
}

std::unique_ptr<ActivityToken> FakeActivity::begin(std::uint64_t /*options*/,
                                                   const QString& /*reason*/) {
    struct Token final : ActivityToken {
        explicit Token(int& count)
            : active(count) {
            ++active;
        }
        ~Token() override { --active; }
        Token(const Token&) = delete;
        Token& operator=(const Token&) = delete;
        int& active;
    };
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
    return {QRectF(0, 0, 1600, 1000), 40, QRectF(0, 960, 700, 40), QRectF(900, 960, 700, 40)};
}

ScreenInfo plainScreen(const QRectF& frame) {
    return {frame, 0, std::nullopt, std::nullopt};
}

} // namespace verrabel::testing
