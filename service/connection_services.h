#pragma once

#include "service/engine/scan_engine.h"
#include "service/engine_watch.h"
#include "service/idle_connections.h"
#include "service/istag.h"
#include "service/reply_maker.h"
#include "service/scan_queue.h"
#include "service/scan_server.h"

#include <memory>
#include <string>

namespace service {

/// Objects shared by all connections of one server. They outlive the connections.
struct connection_services
{
    const server_options& settings;
    std::string path; ///< of the service's URI, with its leading "/"
    reply_maker replies;
    std::shared_ptr<scan_engine> engine;
    service::istag& tag;
    engine_watch& watch;
    scan_queue& scanners;
    idle_connections& idle;
};

} // namespace service
