#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace service {
class scan_server;
} // namespace service

namespace host {

/// The scanning service that a command uses: on the port that the user specified, or inside this process on a free
/// loopback port for the lifetime of the object.
class scan_target
{
public:
    /// Throws std::runtime_error if the internal service cannot be started.
    scan_target(std::optional<std::uint16_t> port, std::string uri);
    scan_target(const scan_target&) = delete;
    scan_target& operator=(const scan_target&) = delete;
    ~scan_target();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Returns the path without the leading "/".
    [[nodiscard]] const std::string& uri() const noexcept { return uri_; }
    /// Returns true if the user specified the port.
    [[nodiscard]] bool asked_for() const noexcept { return !server_; }

private:
    std::string uri_;
    std::unique_ptr<service::scan_server> server_;
    std::uint16_t port_;
};

} // namespace host
