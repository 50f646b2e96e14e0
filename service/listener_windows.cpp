#include "service/listener.h"

namespace service {

void reuse_port_of_ended_connections(boost::asio::ip::tcp::acceptor& /*acceptor*/)
{
    // Winsock allows this by default. Its option of the same name would let two programs share one port.
}

} // namespace service
