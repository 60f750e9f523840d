#pragma once

#include "platform/alerts.h"

namespace verrabel {

class MessageBoxAlerts final : public Alerts {
public:
    void runModal(const Alert& alert) override;
};

} // namespace verrabel
