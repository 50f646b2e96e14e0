#include "service/listener.h"

namespace service {

void reuse_port_of_ended_connections(boost::asio::ip::tcp::acceptor& acceptor)
{
    acceptor.set_option(boost::asio::socket_base::reuse_address(true));
}

} // namespace service
