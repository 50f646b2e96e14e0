#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace service {

/// A number that only grows. Thread-safe and lock-free.
class counter
{
public:
    void add(std::uint64_t count = 1) noexcept { value_.fetch_add(count, std::memory_order_relaxed); }
    [[nodiscard]] std::uint64_t value() const noexcept { return value_.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint64_t> value_{0};
};

/// How often something took how long. Thread-safe and lock-free.
class histogram
{
public:
    using duration = std::chrono::steady_clock::duration;

    /// Upper bounds of the buckets, in milliseconds. A further bucket has no bound.
    static constexpr std::array<std::uint32_t, 13> bounds{1, 2, 5, 10, 25, 50, 100, 250, 500, 1000, 5000, 10000, 50000};

    void observe(duration taken) noexcept
    {
        std::size_t place = 0;
        while (place < bounds.size() && taken > std::chrono::milliseconds(bounds[place])) {
            ++place;
        }
        buckets_[place].add();
        const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(taken).count();
        nanoseconds_.add(static_cast<std::uint64_t>(nanoseconds));
    }
    /// Returns the number of times in each bucket alone.
    [[nodiscard]] std::array<std::uint64_t, bounds.size() + 1> buckets() const noexcept
    {
        std::array<std::uint64_t, bounds.size() + 1> read{};
        for (std::size_t i = 0; i < read.size(); ++i) {
            read[i] = buckets_[i].value();
        }
        return read;
    }
    /// Returns the sum of all times.
    [[nodiscard]] std::uint64_t nanoseconds() const noexcept { return nanoseconds_.value(); }

private:
    std::array<counter, bounds.size() + 1> buckets_;
    counter nanoseconds_;
};

enum class request_kind
{
    options,
    reqmod,
    respmod,
    health,
    unknown ///< ended before its head was understood
};
inline constexpr std::size_t request_kinds = 5;

enum class request_result
{
    answered, ///< the options
    clean,
    blocked,
    repaired,
    unchecked, ///< the engine could not look into the object
    error,     ///< no verdict, or a failure of the service
    timeout,   ///< no verdict in time
    bad_request,
    not_found, ///< another URI
    refused,   ///< too many connections, or no room for an object
    abandoned  ///< the connection ended before the response
};
inline constexpr std::size_t request_results = 11;

/// What one server has done. Everything is counted where it happens. Nothing here contains a text: no subject, name or
/// address can be exported.
struct service_metrics
{
    std::array<std::array<counter, request_results>, request_kinds> requests;
    histogram waiting; ///< from the end of a request to the begin of its scan
    histogram scanning;
    counter bytes_received;
    counter bytes_sent;
    counter connections_accepted;
    counter connections_refused;
    counter connections_evicted; ///< closed to make room
    counter istag_changes;
    counter reloads_applied;
    counter reloads_rejected;

    void count(request_kind kind, request_result result) noexcept
    {
        requests[static_cast<std::size_t>(kind)][static_cast<std::size_t>(result)].add();
    }
};

} // namespace service
