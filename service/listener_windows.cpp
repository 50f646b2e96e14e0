#include "service/listener.h"

namespace service {

void reuse_port_of_ended_connections(boost::asio::ip::tcp::acceptor& /*acceptor*/)
{
    // Winsock allows it by itself, while its option of that name would let two programs share one port.
}

} // namespace service
