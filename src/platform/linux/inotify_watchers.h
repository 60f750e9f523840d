#pragma once

#include "platform/directory_watcher.h"

namespace verrabel {

class InotifyWatchers final : public DirectoryWatchers {
public:
    [[nodiscard]] std::unique_ptr<DirectoryWatcher> watch(const QString& path,
                                                          std::function<void()> onChange) override;
};

} // namespace verrabel
