#include "service/reload_signal.h"

#include <csignal>

namespace service {

std::optional<int> reload_signal()
{
    return SIGHUP;
}

} // namespace service
