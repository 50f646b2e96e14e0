#include "service/reload_signal.h"

namespace service {

std::optional<int> reload_signal()
{
    return std::nullopt;
}

} // namespace service
