#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace bench {

/// What many clients of an ICAP service ask at once: every connection has one request under way at a time, and asks
/// again as soon as it has the answer, or when its turn comes.
struct icap_load
{
    std::uint16_t port = 0; ///< on 127.0.0.1
    std::string service;    ///< path without its leading "/"
    std::size_t connections = 1;
    std::vector<std::size_t> object_sizes{4096}; ///< bytes, of one request after another; every object is different
    std::size_t chunk_size = 32768;              ///< bytes
    bool write_each_chunk = false;               ///< in a write of its own, as the mail add-in does; otherwise as many
                                                 ///< as the socket takes at once
    std::chrono::milliseconds time{0};           ///< requests begin within this time
    std::uint64_t most_requests = ~0ULL;         ///< and no more than these
    /// Time from the begin of one request to that of the next one, each on the connection that has been idle longest.
    /// A request for which no connection is idle begins late. Zero: a connection asks again as soon as it has the
    /// answer.
    std::chrono::nanoseconds interval{0};
    std::function<void()> connected; ///< called once, when all connections are open
    std::function<void()> answered;  ///< called once, when everything has been answered and they are still open
};

struct icap_load_result
{
    double seconds = 0;
    std::map<int, std::uint64_t> answers;               ///< by their status
    std::vector<float> latencies;                       ///< milliseconds from the first byte sent, or the time at which
                                                        ///< it was due, to the last one received, ascending
    std::map<std::size_t, std::vector<float>> of_sizes; ///< the same by the sizes of objects

    [[nodiscard]] std::uint64_t requests() const noexcept { return latencies.size(); }
    /// `share` is between 0 and 1.
    [[nodiscard]] double percentile(double share) const;
};

/// Returns the value below which this share of the values is; 0 if there are none.
[[nodiscard]] double percentile(const std::vector<float>& ascending, double share);

/// Sends RESPMOD requests that allow 204 over connections that are kept. One thread; POSIX only. Throws
/// std::runtime_error if a connection ends or an answer is not understood.
[[nodiscard]] icap_load_result run(const icap_load& load);

} // namespace bench
