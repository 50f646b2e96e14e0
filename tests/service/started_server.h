#pragma once

#include "service/scan_server.h"
#include "tests/service/wire_client.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace test {

/// A server on a free port that runs for the lifetime of the object.
class started_server
{
public:
    explicit started_server(service::server_options options = {})
        : server_(std::move(options))
    {
        server_.start();
    }

    [[nodiscard]] std::uint16_t port() const { return server_.port(); }
    [[nodiscard]] wire_client client() const { return wire_client(port()); }
    [[nodiscard]] service::scan_server& server() noexcept { return server_; }

private:
    service::scan_server server_;
};

} // namespace test
