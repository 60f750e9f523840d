// Rescans of the Desktop folder and the watcher that asks for them.

#include "desktop_scan.h"
#include "platform/directory_watcher.h"
#include "platform/main_thread.h"
#include "platform/platform.h"
#include "platform/work_queue.h"
#include "shelf/shelf_controller.h"

#include <QPointer>

#include <memory>

namespace verrabel {

void ShelfController::refresh() {
    if (refreshInFlight) {
        return; // dropped, not queued: the scan under way will see the folder soon enough
    }
    refreshInFlight = true;
    lastRefresh = m_platform.clock.now();
    scanQueue->submit([this, folder = desktop] {
        // Only `desktop` is read here; the result goes back to the main thread.
        auto result = std::make_shared<const ScanResult>(scanDesktop(folder));
        postToMain(this, [this, result]() mutable {
            completeRefresh(result);
            // Freeing a listing of thousands of names takes longer than comparing it: leave
            // that to the scan queue too, unless the rows keep it.
            scanQueue->submit([discarded = std::move(result)] {});
        });
    });
}

void ShelfController::completeRefresh(const std::shared_ptr<const ScanResult>& result) {
    refreshInFlight = false;
    if (exporting) {
        return; // never redraw the list under a row being dragged out
    }
    render(result);
}

void ShelfController::startWatcher() {
    watcher = m_platform.watchers.watch(desktop, [weak = QPointer(this)] {
        if (weak && !weak->exporting) {
            weak->refresh();
        }
    });
}

} // namespace verrabel
