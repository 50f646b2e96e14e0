// Scans over pooled sessions against a peer that only reads and answers 204, beside the same bytes over bare sockets.

#include "bench/contest.h"
#include "bench/once.h"
#include "bench/pooled_scans.h"
#include "bench/sink_peer.h"

#include <algorithm>
#include <future>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::uint64_t small_body = 4096;
constexpr std::uint64_t large_body = std::uint64_t{64} << 20U;
constexpr std::uint64_t large_body_once = std::uint64_t{1} << 20U;
constexpr std::size_t write_size = 4096;

/// Runs `work(n)` on each of `threads` threads, where the n add up to `count`.
template <typename Work>
void share(std::uint64_t count, std::size_t threads, const Work& work)
{
    std::vector<std::future<void>> all;
    for (std::size_t index = 0; index < threads; ++index) {
        const std::uint64_t part = (count + index) / threads;
        all.push_back(std::async(std::launch::async, [&work, part, index] { work(part, index); }));
    }
    std::for_each(all.begin(), all.end(), [](std::future<void>& one) { one.get(); });
}

/// The bytes of a scan over bare connections, in writes of one size, and the answer.
class bare_exchanges
{
public:
    bare_exchanges(std::uint64_t bytes, std::size_t block_size, std::size_t connections)
        : bytes_(bytes)
        , block_(block_size, 'x')
        , peer_(bench::sink_peer::kind::bare, bytes)
    {
        for (std::size_t index = 0; index < connections; ++index) {
            connections_.push_back(bench::connect_to(peer_.port()));
        }
    }
    bare_exchanges(const bare_exchanges&) = delete;
    bare_exchanges& operator=(const bare_exchanges&) = delete;
    ~bare_exchanges()
    {
        for (const int connection : connections_) {
            ::close(connection);
        }
    }

    void exchange(std::uint64_t count, std::size_t connection) const
    {
        const int socket = connections_[connection];
        for (; count > 0; --count) {
            for (std::uint64_t left = bytes_; left > 0;) {
                const auto size = std::min<std::uint64_t>(left, block_.size());
                bench::require(send(socket, block_.data(), size, MSG_NOSIGNAL) == static_cast<ssize_t>(size),
                               "short write");
                left -= size;
            }
            char answer[4096];
            bench::require(recv(socket, answer, sizeof answer, 0) == static_cast<ssize_t>(bench::clean_reply.size()),
                           "no answer");
        }
    }

private:
    std::uint64_t bytes_;
    std::vector<char> block_;
    bench::sink_peer peer_;
    std::vector<int> connections_;
};

void compare_small(bench::contests& all, std::size_t threads, double goal)
{
    const std::string work = "scans of 4 KiB, threads: " + std::to_string(threads);
    if (!all.is_wanted(work)) {
        return;
    }
    bench::pooled_scans ours(small_body);
    const bare_exchanges floor(ours.bytes_on_wire(), ours.bytes_on_wire(), threads);
    const auto scan = [&](std::uint64_t count) {
        share(count, threads, [&](std::uint64_t part, std::size_t) { ours.scan(part); });
    };
    const auto exchange = [&](std::uint64_t count) {
        share(count, threads, [&](std::uint64_t part, std::size_t index) { floor.exchange(part, index); });
    };
    all.hold({work,
              {"pooled sessions", scan, {}},
              {{{"the same bytes over bare sockets", exchange, {}}, bench::ratio::speed, goal}}});
    ours.check();
}

void compare_large(bench::contests& all)
{
    const std::string work = "scan of 64 MiB";
    if (!all.is_wanted(work)) {
        return;
    }
    bench::pooled_scans ours(bench::usual_or_once(large_body, large_body_once));
    const bare_exchanges floor(ours.bytes_on_wire(), write_size, 1);
    all.hold({work,
              {"a pooled session", [&](std::uint64_t count) { ours.scan(count); }, {}},
              {{{"bare writes of 4096 bytes", [&](std::uint64_t count) { floor.exchange(count, 0); }, {}},
                bench::ratio::speed,
                1.0}}});
    ours.check();
}

} // namespace

int main(int count, char** arguments)
{
    return bench::run_contests(count, arguments, [](bench::contests& all) {
        compare_small(all, 1, 0.4);
        compare_small(all, 8, 0.6);
        compare_large(all);
    });
}
