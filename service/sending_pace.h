#pragma once

#include "service/scan_server.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

namespace service {

/// Decides whether a peer sends its request fast enough: all heads within one time, and then a least number of bytes in
/// each period.
class sending_pace
{
public:
    using clock = std::chrono::steady_clock;
    enum class part
    {
        head,
        body
    };

    explicit sending_pace(const server_options& settings)
        : settings_(&settings)
    {}

    /// Uses other settings from the next request on. They must outlive their use.
    void follow(const server_options& settings) { settings_ = &settings; }

    /// Forgets everything: the next request begins, or the peer had to wait for the service.
    void restart();
    /// Counts bytes that have arrived.
    void count(std::size_t bytes) { bytes_ += bytes; }
    /// Returns when to call this function again at the latest, or nothing if the peer is too slow. `unread`
    /// returns the number of bytes that have arrived and are not counted yet; it is called at the end of a period only.
    [[nodiscard]] std::optional<clock::time_point> next_check(part expected, clock::time_point now,
                                                              const std::function<std::size_t()>& unread);

private:
    [[nodiscard]] std::optional<clock::time_point> check_head(clock::time_point now);
    [[nodiscard]] std::optional<clock::time_point> check_body(clock::time_point now,
                                                              const std::function<std::size_t()>& unread);

    const server_options* settings_;
    std::optional<clock::time_point> head_due_;
    std::optional<clock::time_point> period_end_;
    std::uint64_t bytes_ = 0; ///< of the period
};

} // namespace service
