#pragma once

#include "doctor/manager_row.h"

namespace doctor {

/// The service manager of this machine.
class system_service_manager final : public service_manager
{
public:
    [[nodiscard]] std::optional<managed_service> find(const std::string& name) override;
};

} // namespace doctor
