#include "main_thread.h"

#include <QMetaObject>

namespace verrabel {

void postToMain(QObject* context, std::function<void()> work) {
    QMetaObject::invokeMethod(context, std::move(work), Qt::QueuedConnection);
}

} // namespace verrabel
