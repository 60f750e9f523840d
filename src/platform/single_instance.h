#pragma once

#include <functional>

namespace verrabel {

/// One Verrabel per session: the first start holds the session; a later one asks it to show
/// the shelf, and is to end.
class SingleInstance {
public:
    virtual ~SingleInstance() = default;
    /// Claims the session for this process: true when it is the first. Otherwise the one that
    /// runs has been asked to show the shelf, where it can be asked.
    virtual bool claim() = 0;
    /// What to do when a later start asks this one to show the shelf.
    virtual void onShowAsked(std::function<void()> show) = 0;
};

} // namespace verrabel
