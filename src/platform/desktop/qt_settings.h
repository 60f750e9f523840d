#pragma once

#include "platform/settings.h"

#include <QSettings>

namespace verrabel {

/// ~/.config/Verrabel/Verrabel.conf. A file that cannot be written loses the values silently.
class QtSettings final : public Settings {
public:
    [[nodiscard]] bool boolValue(const QString& key) const override {
        return m_settings.value(key, false).toBool();
    }
    void setBool(const QString& key, bool value) override {
        m_settings.setValue(key, value);
        m_settings.sync();
    }

private:
    mutable QSettings m_settings{QStringLiteral("Verrabel"), QStringLiteral("Verrabel")};
};

} // namespace verrabel
