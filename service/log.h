#pragma once

#include "logging/logging.h"

namespace service {

/// Returns the logger of the whole service.
[[nodiscard]] inline logging::logger& service_log()
{
    static logging::logger& log = logging::log_manager::default_manager().get_logger("service");
    return log;
}

} // namespace service
