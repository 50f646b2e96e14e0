#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace service {

/// Allows a listener to bind to a port whose last connections have not ended completely, as after a restart. It never
/// shares a port with another listener.
void reuse_port_of_ended_connections(boost::asio::ip::tcp::acceptor& acceptor);

} // namespace service
