#pragma once

#include "service/engine/scan_engine.h"
#include "service/engine/stop.h"
#include "service/metrics/metrics.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace service {

/// The ISTag of a service, a quoted text that changes when the verdicts of the engine may change, and the state of the
/// engine. Both are those of the last probe, because the engine may need to be queried for them. Thread-safe.
class istag
{
public:
    /// `changes` counts the changes of the tag after the first refresh; it may be null.
    istag(std::shared_ptr<scan_engine> engine, stop_token stop, counter* changes = nullptr);

    /// Probes the engine. May block for the timeout of the engine. An exception of the engine counts as its fault. A
    /// probe that a stop interrupts changes nothing.
    std::string refresh();
    /// Returns the tag of the last refresh; before the first refresh, a tag made of the engine's name only. Never
    /// blocks: the tag is part of every response, including those made on a thread that other connections wait for.
    ///
    /// `rules` differs for different rules by which the service itself decides about objects; 0 for none.
    [[nodiscard]] std::string current(std::uint64_t rules = 0) const;
    /// Returns a number that grows whenever the verdicts of the engine may have changed: with its identity, and when it
    /// can be reached again. 0 as long as no identity is known. Never blocks.
    [[nodiscard]] std::uint64_t generation() const;
    /// Returns the state of the last refresh; an empty one before the first refresh. Never blocks.
    [[nodiscard]] engine_state state() const;

private:
    [[nodiscard]] std::string tag_of(std::uint64_t value) const;

    std::shared_ptr<scan_engine> engine_;
    stop_token stop_;
    counter* changes_;
    mutable std::mutex lock_;
    std::uint64_t value_;          ///< of the identity; guarded by lock_
    engine_state state_;           ///< guarded by lock_
    std::uint64_t generation_ = 1; ///< guarded by lock_
    bool refreshed_ = false;       ///< guarded by lock_
};

} // namespace service
