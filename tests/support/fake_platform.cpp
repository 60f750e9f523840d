#include "fake_platform.h"

#include <QCoreApplication>

namespace verrabel::testing {

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

FakePlatform::FakePlatform() {
    screens.list = {notchedScreen()};
}

void FakePlatform::finishScans() const {
    queue("Verrabel.scan").runAll();
    QCoreApplication::processEvents();
    queue("Verrabel.scan").runAll();
}

ScreenInfo notchedScreen() {
    return {QRectF(0, 0, 1600, 1000), 40, QRectF(0, 960, 700, 40), QRectF(900, 960, 700, 40)};
}

ScreenInfo plainScreen(const QRectF& frame) {
    return {frame, 0, std::nullopt, std::nullopt};
}

ShelfTest::ShelfTest() {
    for (const char* folder : {"Desktop", "tmp", "from"}) {
        files.mkdir(folder);
    }
    platform.folders.desktopPath = files.path("Desktop");
    platform.folders.temporaryPath = files.path("tmp");
    shelf = std::make_unique<ShelfController>(platform.services);
    platform.finishScans();
    queue("Verrabel.files").runAll(); // the start-up sweep of half-made copies
}

void ShelfTest::finishWork() {
    QCoreApplication::processEvents(); // deliveries reach the promise queue from the main thread
    queue("Verrabel.files").runAll();
    queue("").runAll();
    QCoreApplication::processEvents();
    platform.finishScans();
}

} // namespace verrabel::testing
