#include "service/engine/clamd_engine.h"

#include <stdexcept>

namespace service {

clamd_endpoint clamd_unix_endpoint(std::string_view /*path*/)
{
    throw std::invalid_argument("this system has no Unix sockets; use clamd:tcp:HOST:PORT");
}

} // namespace service
