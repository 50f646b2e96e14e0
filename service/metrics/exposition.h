#pragma once

#include "service/engine/scan_engine.h"
#include "service/metrics/metrics.h"

#include <cstdint>
#include <string>
#include <vector>

namespace service {

/// What is counted nowhere because it can be looked up.
struct service_figures
{
    std::uint64_t connections = 0;   ///< open
    std::uint64_t scans_waiting = 0; ///< objects that wait for a thread
    std::uint64_t scans_running = 0;
    std::uint64_t body_bytes = 0;     ///< of the budget for bodies, in use
    std::vector<engine_part> engines; ///< their names contain no address
    // Of the cache in use, which is a new one after some changes of the configuration:
    std::uint64_t cache_entries = 0;
    std::uint64_t cache_hits = 0;
    std::uint64_t cache_misses = 0;
};

/// Returns the metrics in the text format 0.0.4 of Prometheus.
[[nodiscard]] std::string exposition(const service_metrics& metrics, const service_figures& figures);

} // namespace service
