#include "service/engine/clamd_engine.h"

#include <boost/asio/local/stream_protocol.hpp>

#include <stdexcept>
#include <string>
#include <sys/un.h>

namespace service {

clamd_endpoint clamd_unix_endpoint(std::string_view path)
{
    if (path.empty()) {
        throw std::invalid_argument("the path of the socket is missing");
    }
    if (path.size() >= sizeof(sockaddr_un::sun_path)) {
        throw std::invalid_argument("the path of the socket is longer than " +
                                    std::to_string(sizeof(sockaddr_un::sun_path) - 1) + " bytes");
    }
    return boost::asio::local::stream_protocol::endpoint(std::string(path));
}

} // namespace service
