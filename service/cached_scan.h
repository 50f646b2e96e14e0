#pragma once

#include "service/engine/scan_engine.h"
#include "service/engine/stop.h"
#include "service/istag.h"
#include "service/verdict_cache.h"

namespace service {

/// Returns the verdict that the cache knows about an object; otherwise that of a scan, which is entered into the cache
/// unless it was stopped. Nothing is cached while the identity of the engine is not known, nor for an engine that is
/// not worth it. Never throws: a failure of the cache leads to a scan, and every other one is an error verdict.
[[nodiscard]] verdict cached_scan(verdict_cache& cache, const istag& tag, scan_engine& engine, const object_info& info,
                                  web::io_data& object, const stop_token& stop);

} // namespace service
