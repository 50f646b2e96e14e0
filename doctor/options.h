#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace doctor {

/// The options of the command.
struct doctor_options
{
    std::string host = "127.0.0.1";
    std::optional<std::uint16_t> port; ///< no value: that of the settings, otherwise 1345
    std::optional<std::string> uri;    ///< no value: that of the settings, otherwise "webscan"; no leading "/"
    std::optional<std::uint16_t> metrics_port;
    std::uint32_t timeout_ms = 10000; ///< of each step
    std::vector<std::string> only;    ///< names of rows; empty: all
    bool json = false;
    std::uint32_t signature_days = 7;
    std::uint32_t slow_ms = 500;
    std::string service_name = "postwarden-service";     ///< in the service manager or, with ".service", in systemd
    std::string config = "/etc/postwarden/service.conf"; ///< Linux only
    std::string program;                                 ///< of the service, Linux only; empty: that beside this one

    [[nodiscard]] std::chrono::milliseconds timeout() const { return std::chrono::milliseconds(timeout_ms); }
};

} // namespace doctor
