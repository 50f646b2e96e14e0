#pragma once

#include "service/body_budget.h"
#include "service/metrics/metrics.h"
#include "service/scan_queue.h"
#include "service/settings_in_force.h"
#include "service/waiting_connections.h"

#include <string>

namespace service {

/// Objects shared by all connections of one server. They outlive the connections.
struct connection_services
{
    const current_settings& settings;
    std::string path; ///< of the service's URI, with its leading "/"
    scan_queue& scanners;
    waiting_connections& idle;  ///< those on which no request has begun
    waiting_connections& heads; ///< those on which a request has begun whose heads have not arrived whole
    service_metrics& metrics;
    body_budget& bodies;
};

} // namespace service
