#pragma once

#include "platform/workspace.h"

namespace verrabel {

/// Default applications through the desktop's URL handlers; the file manager over D-Bus.
class DesktopWorkspace final : public Workspace {
public:
    bool openUrl(const QUrl& url) override;
    /// org.freedesktop.FileManager1.ShowItems; where no file manager answers it, the item's
    /// folder is opened instead.
    void revealItems(const QList<QUrl>& items) override;
};

} // namespace verrabel
