#pragma once

#include "service/engine/scan_engine.h"
#include "service/engine/stop.h"
#include "service/engine_watch.h"
#include "service/istag.h"
#include "service/metrics/metrics.h"
#include "service/verdict_cache.h"

#include <chrono>
#include <cstddef>
#include <memory>
#include <utility>

namespace service {

/// An engine with its ISTag and its probes. Another engine has others, so that the tag of a response always belongs to
/// the engine that judged its object. Lives as long as a request needs it.
struct engine_in_use
{
    /// `probe_interval` is that of engine_watch. `tag_changes` counts the changes of the tag. The caller starts the
    /// watch.
    engine_in_use(std::shared_ptr<scan_engine> used, std::chrono::milliseconds probe_interval,
                  std::size_t cache_entries, counter& tag_changes, std::shared_ptr<happenings> listener = nullptr)
        : engine(std::move(used))
        , tag(engine, stop.get_token(), &tag_changes)
        , cache(cache_entries)
        , watch(tag, probe_interval, std::move(listener))
    {}
    engine_in_use(const engine_in_use&) = delete;
    engine_in_use& operator=(const engine_in_use&) = delete;
    ~engine_in_use() { retire(); }

    /// Ends the probes and waits for one that is under way. Scans may go on. Must be called by the thread that started
    /// the watch.
    void retire()
    {
        stop.request_stop();
        watch.stop();
    }

    std::shared_ptr<scan_engine> engine;
    stop_source stop; ///< of the probes
    istag tag;
    verdict_cache cache; ///< of the engine's verdicts
    engine_watch watch;
};

} // namespace service
