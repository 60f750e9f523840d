#pragma once

#include <QObject>

#include <functional>

namespace verrabel {

/// Runs `work` on the main thread's event loop, later; dropped if `context` is gone by then.
void postToMain(QObject* context, std::function<void()> work);

} // namespace verrabel
