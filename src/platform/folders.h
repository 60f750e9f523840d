#pragma once

#include <QString>

namespace verrabel {

class Folders {
public:
    virtual ~Folders() = default;
    /// The user's Desktop folder as the system names it, or empty when the system has none.
    [[nodiscard]] virtual QString desktop() const = 0;
    /// The thumbnail cache that file managers share.
    [[nodiscard]] virtual QString thumbnails() const = 0;
};

} // namespace verrabel
