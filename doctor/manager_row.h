#pragma once

#include "doctor/row.h"

#include <cstdint>
#include <optional>
#include <string>

namespace doctor {

/// A service as the service manager of Windows knows it.
struct managed_service
{
    enum class activity
    {
        stopped,
        running,
        changing, ///< starts or stops
        paused
    };
    activity state = activity::stopped;
    bool automatic = true; ///< starts with the machine
    std::string account;
};

class service_manager
{
public:
    /// Returns no value if there is no such service. Throws std::runtime_error with the reason in words.
    [[nodiscard]] virtual std::optional<managed_service> find(const std::string& name) = 0;
    virtual ~service_manager() = default;
};

[[nodiscard]] finding manager_row(service_manager& manager, const std::string& name);

} // namespace doctor
