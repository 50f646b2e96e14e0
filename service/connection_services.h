#pragma once

#include "service/body_budget.h"
#include "service/idle_connections.h"
#include "service/metrics/metrics.h"
#include "service/scan_queue.h"
#include "service/settings_in_force.h"

#include <string>

namespace service {

/// Objects shared by all connections of one server. They outlive the connections.
struct connection_services
{
    const current_settings& settings;
    std::string path; ///< of the service's URI, with its leading "/"
    scan_queue& scanners;
    idle_connections& idle;
    service_metrics& metrics;
    body_budget& bodies;
};

} // namespace service
