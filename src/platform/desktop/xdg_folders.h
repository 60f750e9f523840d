#pragma once

#include "platform/folders.h"

namespace verrabel {

/// The XDG user folders. A Desktop that user-dirs points at the home folder itself counts as
/// none: the shelf must never list or write the whole home folder.
class XdgFolders final : public Folders {
public:
    [[nodiscard]] QString desktop() const override;
    [[nodiscard]] QString thumbnails() const override;
};

} // namespace verrabel
