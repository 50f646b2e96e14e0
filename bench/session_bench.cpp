// Scans over pooled sessions against a peer that only reads and answers 204, and the same bytes over a bare socket.

#include "bench/checked_state.h"
#include "bench/once.h"
#include "bench/sink_peer.h"
#include "tool/icap_client/session_manager.h"
#include "tool/web/body_store.h"
#include "tool/web/io_file.h"
#include "tool/web/io_memory.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr std::uint64_t small_body = 4096;
constexpr std::uint64_t large_body = std::uint64_t{64} << 20U;
constexpr std::uint64_t large_body_once = std::uint64_t{1} << 20U;
constexpr std::size_t write_size = 4096;

std::shared_ptr<web::io_data> make_body(std::uint64_t size)
{
    std::shared_ptr<web::io_data> body = web::make_body_store(static_cast<std::uint32_t>(size));
    const std::vector<char> block(65536, 'x');
    for (std::uint64_t left = size; left > 0;) {
        const auto count = std::min<std::uint64_t>(left, block.size());
        body->append(block.data(), count);
        left -= count;
    }
    return body;
}

icap::client::scan_mail mail(std::shared_ptr<web::io_data> body)
{
    icap::client::scan_mail record;
    record.user_name = "S-1-5-21-0-0-0-1000";
    record.process_name = "bench";
    record.subject = "[From:a][Subject:b][Time:c]";
    record.tag = "<bench@example.org>";
    record.mime_type = "text/html";
    record.data = std::move(body);
    record.timeout = 60000;
    return record;
}

std::shared_ptr<icap::client::session_manager> make_pool(std::uint16_t port)
{
    return std::make_shared<icap::client::session_manager>(
        icap::client::session_manager_parameters{L"127.0.0.1", port, L"/bench"}, 1U);
}

/// A scan of the session, which is as good afterwards as before, that ends with a clean verdict.
bool scan(const std::shared_ptr<icap::client::session_manager>& pool, const icap::client::scan_mail& record)
{
    icap::client::session_lease lease(pool);
    icap::client::session::answer_ptr answer;
    return lease->scan(record, answer) == ScanResult::Clean && !lease->is_invalid();
}

/// A scan that fails counts as clean, so that only the peer knows what was scanned.
void expect_scans(benchmark::State& state, const bench::sink_peer& peer, std::uint64_t count, std::uint64_t size)
{
    bench::expect(state, peer.scans() == count, "not every body was scanned");
    bench::expect(state, peer.scanned_bytes() == count * size, "bodies of another size were scanned");
}

void scan_small(benchmark::State& state)
{
    static std::unique_ptr<bench::sink_peer> peer;
    static std::shared_ptr<icap::client::session_manager> pool;
    if (state.thread_index() == 0) {
        peer = std::make_unique<bench::sink_peer>(bench::sink_peer::kind::icap);
        pool = make_pool(peer->port());
    }
    const auto record = mail(make_body(small_body));
    for (auto _ : state) {
        if (!bench::expect(state, scan(pool, record), "not judged clean")) {
            break;
        }
    }
    state.SetItemsProcessed(state.iterations());
    if (state.thread_index() == 0) { // the others have left their loops
        const auto scans = static_cast<std::uint64_t>(state.iterations() * state.threads());
        expect_scans(state, *peer, scans, small_body);
        pool->terminate();
        pool.reset();
        peer.reset();
    }
}
BENCHMARK(scan_small)->Threads(1)->Threads(8)->UseRealTime();

void scan_large(benchmark::State& state)
{
    const bench::sink_peer peer(bench::sink_peer::kind::icap);
    const auto pool = make_pool(peer.port());
    const auto size = bench::usual_or_once(large_body, large_body_once);
    const auto record = mail(make_body(size));
    for (auto _ : state) {
        if (!bench::expect(state, scan(pool, record), "not judged clean")) {
            break;
        }
    }
    expect_scans(state, peer, static_cast<std::uint64_t>(state.iterations()), size);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}
BENCHMARK(scan_large)->UseRealTime()->Unit(benchmark::kMillisecond);

void bare_socket(benchmark::State& state)
{
    const auto size = static_cast<std::uint64_t>(state.range(0));
    const bench::sink_peer peer(bench::sink_peer::kind::bare, size);
    const int connection = bench::connect_to(peer.port());
    const std::vector<char> block(write_size, 'x');
    for (auto _ : state) {
        ssize_t written = 0;
        for (std::uint64_t left = size; left > 0; left -= write_size) {
            written += send(connection, block.data(), block.size(), MSG_NOSIGNAL);
        }
        char answer = 0;
        if (!bench::expect(state, written == static_cast<ssize_t>(size), "short write") ||
            !bench::expect(state, recv(connection, &answer, 1, 0) == 1, "no answer")) {
            break;
        }
    }
    const auto sent = static_cast<std::uint64_t>(state.iterations()) * size;
    bench::expect(state, peer.received() == sent, "the peer got another number of bytes");
    ::close(connection);
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(size));
}
BENCHMARK(bare_socket)->Arg(small_body)->Arg(large_body)->UseRealTime();

} // namespace
