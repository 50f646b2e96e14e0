#pragma once

#include <boost/asio/ip/tcp.hpp>

namespace service {

/// Prepares a listener, ahead of its bind, for a port that it shares with no other socket. It can bind to a port whose
/// last connections have not ended completely, as after a restart.
void claim_port(boost::asio::ip::tcp::acceptor& acceptor);

} // namespace service
