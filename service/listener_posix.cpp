#include "service/listener.h"

namespace service {

void claim_port(boost::asio::ip::tcp::acceptor& acceptor)
{
    acceptor.set_option(boost::asio::socket_base::reuse_address(true));
}

} // namespace service
