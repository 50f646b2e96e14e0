#pragma once

#include "service/engine_in_use.h"
#include "service/object_lists.h"
#include "service/reply_maker.h"
#include "service/scan_server.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace service {

/// Everything that may change while a server runs, in one piece: a request is served by one such piece from its first
/// byte to the end of its response. Immutable, except that the engine keeps its own state.
struct settings_in_force
{
    server_options options;
    reply_maker replies;
    object_lists lists;
    std::shared_ptr<engine_in_use> engine;
    std::uint64_t rules = 0; ///< of `options`, as number_of_rules() returns it

    /// Returns the ISTag of responses, which differs whenever the verdicts may. Never blocks.
    [[nodiscard]] std::string tag() const { return engine->tag.current(rules); }
};

using settings_pointer = std::shared_ptr<const settings_in_force>;

/// Returns the engine that the options specify. Throws std::invalid_argument for an unknown one.
[[nodiscard]] std::shared_ptr<scan_engine> engine_of(const server_options& options);
/// Returns true if engine_of() makes the same engine of both.
[[nodiscard]] bool has_same_engine(const server_options& one, const server_options& other);
/// Returns the settings of `options` with an engine. Throws std::invalid_argument for invalid options, and
/// std::runtime_error if the template of the notices cannot be read.
[[nodiscard]] settings_pointer in_force(server_options options, std::shared_ptr<engine_in_use> engine);

/// The settings for requests that begin now. Thread-safe.
class current_settings
{
public:
    [[nodiscard]] settings_pointer get() const
    {
        const std::lock_guard guard(lock_);
        return settings_;
    }
    /// Returns true if get() would return the same. Takes no lock: each request asks.
    [[nodiscard]] bool is_current(const settings_pointer& settings) const noexcept
    {
        return settings.get() == place_.load(std::memory_order_acquire);
    }
    /// Returns the former settings.
    settings_pointer exchange(settings_pointer settings)
    {
        const std::lock_guard guard(lock_);
        place_.store(settings.get(), std::memory_order_release);
        return std::exchange(settings_, std::move(settings));
    }

private:
    mutable std::mutex lock_;
    settings_pointer settings_;
    std::atomic<const settings_in_force*> place_{nullptr}; ///< of settings_
};

} // namespace service
