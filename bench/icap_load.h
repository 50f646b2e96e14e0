#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// What many clients of an ICAP service ask at once: every connection has one request under way at a time, and asks
/// again as soon as it has the answer.
struct icap_load
{
    std::uint16_t port = 0; ///< on 127.0.0.1
    std::string service;    ///< path without its leading "/"
    std::size_t connections = 1;
    std::size_t object_size = 4096;      ///< bytes; every object is different
    std::chrono::milliseconds time{0};   ///< requests begin within this time
    std::uint64_t most_requests = ~0ULL; ///< and no more than these
};

struct icap_load_result
{
    double seconds = 0;
    std::map<int, std::uint64_t> answers; ///< by their status
    std::vector<float> latencies;         ///< milliseconds from the first byte sent to the last one received, ascending

    [[nodiscard]] std::uint64_t requests() const noexcept { return latencies.size(); }
    /// `share` is between 0 and 1.
    [[nodiscard]] double percentile(double share) const;
};

/// Sends RESPMOD requests that allow 204 over connections that are kept. One thread; POSIX only. Throws
/// std::runtime_error if a connection ends or an answer is not understood.
[[nodiscard]] icap_load_result run(const icap_load& load);

} // namespace bench
