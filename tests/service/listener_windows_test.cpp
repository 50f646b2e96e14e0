// No other program can take the connections of the service.

#include "service/listener.h"
#include "tests/service/started_server.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <gtest/gtest.h>

#include <cstdint>

namespace listener_windows_test {

namespace asio = boost::asio;
using exclusive = asio::detail::socket_option::boolean<SOL_SOCKET, SO_EXCLUSIVEADDRUSE>;

/// Returns whether a socket that wants to share could bind to a port and listen.
bool is_shared(std::uint16_t port)
{
    asio::io_context io;
    asio::ip::tcp::acceptor intruder(io);
    const asio::ip::tcp::endpoint endpoint(asio::ip::address_v4::loopback(), port);
    intruder.open(endpoint.protocol());
    intruder.set_option(asio::socket_base::reuse_address(true));
    boost::system::error_code error;
    intruder.bind(endpoint, error);
    if (!error) {
        intruder.listen(asio::socket_base::max_listen_connections, error);
    }
    return !error;
}

TEST(listener, has_its_port_alone)
{
    asio::io_context io;
    asio::ip::tcp::acceptor acceptor(io, asio::ip::tcp::v4());
    service::claim_port(acceptor);
    exclusive alone;
    acceptor.get_option(alone);
    EXPECT_TRUE(alone.value());
}

// Wine refuses such a socket with and without the option, which the test above verifies.
TEST(listener, of_the_service_and_of_its_metrics_shares_its_port_with_no_socket_that_wants_to)
{
    service::server_options options;
    options.metrics_port = 0;
    test::started_server server(options);
    EXPECT_FALSE(is_shared(server.port()));
    EXPECT_FALSE(is_shared(server.server().metrics_port()));
}

} // namespace listener_windows_test
