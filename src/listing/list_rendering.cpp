// Turning a scan result into the list of rows and the item count.

#include "desktop_scan.h"
#include "shelf/controls.h"
#include "shelf/shelf_controller.h"

namespace verrabel {

void ShelfController::render(const ScanResult& result) {
    if (const auto* entries = std::get_if<std::vector<DesktopEntry>>(&result)) {
        count->setText(QString::number(entries->size()) + QStringLiteral(" 个项目 · 与桌面同步"));
    }
}

} // namespace verrabel
