#include "service/listener.h"

namespace service {

void claim_port(boost::asio::ip::tcp::acceptor& acceptor)
{
    // Without it, a socket of another program with SO_REUSEADDR could bind to the same port and take connections.
    // Connections that have not ended completely do not prevent the bind.
    using exclusive = boost::asio::detail::socket_option::boolean<SOL_SOCKET, SO_EXCLUSIVEADDRUSE>;
    acceptor.set_option(exclusive(true));
}

} // namespace service
