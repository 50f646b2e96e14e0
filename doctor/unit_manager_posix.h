#pragma once

#include "doctor/unit_rows.h"

#include <chrono>

namespace doctor {

/// The systemd of this machine, asked by systemctl.
class systemctl_manager final : public unit_manager
{
public:
    explicit systemctl_manager(std::chrono::milliseconds longest)
        : longest_(longest)
    {}
    [[nodiscard]] std::optional<std::string> state_of(const std::string& unit) override;
    [[nodiscard]] bool is_installed(const std::string& unit) override;

private:
    std::chrono::milliseconds longest_;
};

} // namespace doctor
