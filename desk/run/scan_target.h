#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace service {
class scan_server;
} // namespace service

namespace host {

/// The scanning service that a command uses: the one on the port that the user named, or one that runs inside this
/// process on a free loopback port until the object ends.
class scan_target
{
public:
    /// Raises std::runtime_error when the inner service cannot be started.
    scan_target(std::optional<std::uint16_t> port, std::string uri);
    scan_target(const scan_target&) = delete;
    scan_target& operator=(const scan_target&) = delete;
    ~scan_target();

    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    /// Path without the leading "/".
    [[nodiscard]] const std::string& uri() const noexcept { return uri_; }
    /// The user named the port.
    [[nodiscard]] bool asked_for() const noexcept { return !server_; }

private:
    std::string uri_;
    std::unique_ptr<service::scan_server> server_;
    std::uint16_t port_;
};

} // namespace host
