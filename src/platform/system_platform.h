#pragma once

#include "platform.h"

#include <memory>

namespace verrabel {

/// The real services of a Linux desktop, alive as long as this object.
class SystemPlatform final {
public:
    SystemPlatform();
    ~SystemPlatform();
    SystemPlatform(const SystemPlatform&) = delete;
    SystemPlatform& operator=(const SystemPlatform&) = delete;

    [[nodiscard]] const Platform& services() const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace verrabel
