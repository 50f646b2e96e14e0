// The protocol engine alone: bytes in memory to heads, messages and bodies. No socket.

#include "bench/checked_state.h"
#include "tool/http/chunk_decoder.h"
#include "tool/http/grammar.h"
#include "tool/http/head_search.h"
#include "tool/http/message_body.h"
#include "tool/http/messages.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::string_view icap_reply = "ICAP/1.0 204 No Content\r\n"
                                        "Date: Sat, 21 Nov 2026 08:00:00 +0000\r\n"
                                        "Service: postwarden-service\r\n"
                                        "Service-ID: TRAL\r\n"
                                        "ISTag: \"2026-11-21-0001\"\r\n"
                                        "Connection: keep-alive\r\n"
                                        "Encapsulated: null-body=0\r\n\r\n";

constexpr std::string_view request_uri = "http://check_mail?tag=<20261121.1@example.org>";
constexpr std::string_view http_request = "POST http://check_mail?tag=<20261121.1@example.org> HTTP/1.1\r\n"
                                          "Host: www.example.org\r\n"
                                          "User-Agent: bench\r\n"
                                          "Accept: text/html, application/xhtml+xml\r\n"
                                          "Content-Type: application/octet-stream\r\n"
                                          "Content-Length: 4096\r\n\r\n";

void icap_head(benchmark::State& state)
{
    const char* const end = icap_reply.data() + icap_reply.size();
    for (auto _ : state) {
        http::response_data record;
        const http::parse_info parsed = http::parse_icap_response(icap_reply.data(), end, record);
        if (!bench::expect(state, parsed.hit && parsed.stop == end, "no head of a reply")) {
            break;
        }
        benchmark::DoNotOptimize(record);
    }
    http::response_data record;
    http::parse_icap_response(icap_reply.data(), end, record);
    bench::expect(state, record.status == 204 && record.reason == "No Content", "another status");
    bench::expect(state, record.fields.size() == 6 && record.fields["ISTag"] == "\"2026-11-21-0001\"", "other headers");
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(icap_reply.size()));
}
BENCHMARK(icap_head);

void http_head(benchmark::State& state)
{
    const char* const end = http_request.data() + http_request.size();
    for (auto _ : state) {
        http::request_data record;
        const http::parse_info parsed = http::parse_http_request(http_request.data(), end, record);
        if (!bench::expect(state, parsed.hit && parsed.stop == end, "no head of a request")) {
            break;
        }
        benchmark::DoNotOptimize(record);
    }
    http::request_data record;
    http::parse_http_request(http_request.data(), end, record);
    bench::expect(state, record.method == "POST" && record.uri == request_uri, "another request line");
    bench::expect(state, record.fields.size() == 5 && record.fields["Content-Length"] == "4096", "other headers");
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(http_request.size()));
}
BENCHMARK(http_head);

void icap_reply_to_message(benchmark::State& state)
{
    icap::analyzer analyzer;
    for (auto _ : state) {
        analyzer.enqueue(icap_reply.data(), icap_reply.data() + icap_reply.size());
        const std::unique_ptr<icap::message> message = analyzer.extract();
        if (!bench::expect(state, message && message->complete(), "no complete reply")) {
            break;
        }
    }
    analyzer.enqueue(icap_reply.data(), icap_reply.data() + icap_reply.size());
    const std::unique_ptr<icap::message> message = analyzer.extract();
    const auto* const reply = dynamic_cast<const icap::response_message*>(message.get());
    bench::expect(state, reply && reply->status() == 204, "another status");
}
BENCHMARK(icap_reply_to_message);

/// The search for a head in as much garbage as an analyzer holds, all of it beginnings of requests that share one end.
void garbage(benchmark::State& state)
{
    std::string text;
    while (text.size() < 16384) {
        text += "GET a ";
    }
    text += '\n';
    const char* const end = text.data() + text.size();
    for (auto _ : state) {
        const bool none =
            http::find_http_request(text.data(), end) == end && http::find_http_response(text.data(), end) == end;
        if (!bench::expect(state, none, "a head was found")) {
            break;
        }
    }
    text += "PATCH /";
    const char* const start = http::find_http_request(text.data(), text.data() + text.size());
    bench::expect(state, start == text.data() + text.size() - 7, "the beginning of a head was not found");
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(garbage);

/// A store that counts bytes and stores nothing, so that the framing alone is measured.
class counting_data final : public web::io_data
{
public:
    std::uint64_t read(std::uint64_t, void*, std::uint64_t) override { return 0; }
    std::uint64_t write(std::uint64_t, const void*, std::uint64_t count) override { return append(nullptr, count); }
    std::uint64_t append(const void*, std::uint64_t count) override
    {
        size_ += count;
        return count;
    }
    void swap(web::io_data&) override {}
    void size(std::uint64_t new_size) override { size_ = new_size; }
    std::uint64_t size() override { return size_; }

private:
    std::uint64_t size_ = 0;
};

/// Chunk decoding of wire bytes in pieces of the size of a socket's receive buffer.
void chunk_decoding(benchmark::State& state)
{
    constexpr std::uint64_t chunks = 1024;
    const auto chunk_size = static_cast<std::size_t>(state.range(0));
    constexpr std::size_t piece = 16384;
    std::string wire;
    for (std::uint64_t i = 0; i < chunks; ++i) {
        wire += winapi::to_hex(chunk_size) + "\r\n" + std::string(chunk_size, 'x') + "\r\n";
    }
    wire += "0\r\n\r\n";
    const std::string head = "POST / HTTP/1.1\r\nContent-Length: 4294967294\r\n\r\n";
    for (auto _ : state) {
        http::request_data record;
        http::byte_vector raw(head.begin(), head.end());
        http::parse_http_request(raw.data(), raw.data() + raw.size(), record);
        http::request_message message(std::move(raw), record, 4294967294U, std::make_unique<counting_data>());
        http::http_message_body body(message, false, false, 0);
        for (std::size_t at = 0; at < wire.size();) {
            const std::size_t limit = std::min(wire.size(), at + piece);
            while (at < limit) {
                at += body.append(wire.data() + at, wire.data() + limit);
            }
        }
        const bool decoded = body.completed() && message.body_size() == chunks * chunk_size;
        if (!bench::expect(state, decoded, "the body did not end, or has another size")) {
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(wire.size()));
}
BENCHMARK(chunk_decoding)->Arg(4096)->Arg(65536);

/// A last chunk with trailer lines of 64 bytes, each passed on its own. The time for a byte does not depend on their
/// number.
void trailer_lines(benchmark::State& state)
{
    const std::string line = "name: " + std::string(56, 'v') + "\r\n";
    constexpr std::string_view zero = "0\r\n";
    constexpr std::string_view blank = "\r\n";
    const std::int64_t count = state.range(0);
    for (auto _ : state) {
        http::chunk_decoder decoder;
        std::uint64_t used = 0;
        decoder.read_line(zero.data(), zero.data() + zero.size(), used);
        for (std::int64_t number = 0; number < count; ++number) {
            decoder.read_line(line.data(), line.data() + line.size(), used);
        }
        const auto last = decoder.read_line(blank.data(), blank.data() + blank.size(), used);
        const bool decoded = last.completed && last.trailers.size() == static_cast<std::size_t>(count) * line.size();
        if (!bench::expect(state, decoded, "the trailer lines did not end, or are others")) {
            break;
        }
    }
    state.SetBytesProcessed(state.iterations() * count * static_cast<std::int64_t>(line.size()));
}
BENCHMARK(trailer_lines)->Arg(1000)->Arg(16000);

} // namespace
