#pragma once

#include <QString>

namespace verrabel {

/// The user defaults: a few values that outlive the process.
class Settings {
public:
    virtual ~Settings() = default;
    /// The stored boolean, false when absent.
    [[nodiscard]] virtual bool boolValue(const QString& key) const = 0;
    virtual void setBool(const QString& key, bool value) = 0;
};

} // namespace verrabel
