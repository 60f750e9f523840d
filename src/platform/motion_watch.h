#pragma once

#include <functional>

namespace verrabel {

/// Tells once when the pointer next moves anywhere on the display.
class MotionWatch {
public:
    virtual ~MotionWatch() = default;
    /// False when the display cannot report motion; `onMotion` is then never called.
    virtual bool awaitMotion(std::function<void()> onMotion) = 0;
    /// Forgets a pending await.
    virtual void cancel() = 0;
};

} // namespace verrabel
