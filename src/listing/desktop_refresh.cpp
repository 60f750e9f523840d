// Rescans of the Desktop folder and the watcher that asks for them.

#include "shelf/shelf_controller.h"

namespace verrabel {

void ShelfController::refresh() {}

void ShelfController::startWatcher() {}

} // namespace verrabel
