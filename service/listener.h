#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace service {

/// Lets a listener have a port whose last connections are still on their way out, as after a restart, but never one
/// that somebody else listens on.
void reuse_port_of_ended_connections(boost::asio::ip::tcp::acceptor& acceptor);

} // namespace service
