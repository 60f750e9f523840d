#pragma once

class QWindow;

namespace verrabel {

/// A compositor's trigger at a screen's border: a window of ours lying along the border stays
/// hidden, taking no input, until the pointer is pushed against the border there; then the
/// compositor shows it again, under the pointer.
class BorderTrigger {
public:
    virtual ~BorderTrigger() = default;
    /// Hides `window`, which lies along its screen's top border, until the next push there; the
    /// same again once a push has shown it. Where the compositor has no such trigger, nothing.
    virtual void arm(QWindow& window) = 0;
    /// The window is shown as any other, from now on.
    virtual void disarm() = 0;
};

} // namespace verrabel
