// The protocol engine alone: bytes in memory to heads, messages and bodies, beside other parsers of the same bytes. No
// socket.

#include "bench/contest.h"
#include "bench/protocol_peers.h"
#include "tool/http/chunk_decoder.h"
#include "tool/http/grammar.h"
#include "tool/http/head_search.h"
#include "tool/http/message_body.h"
#include "tool/http/messages.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/response_message.h"
#include "tool/system/base64.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace {

using bench::require;

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

/// Returns a contender that calls `piece` for each piece of work.
template <typename Piece>
bench::contender each(std::string name, Piece piece)
{
    return {std::move(name),
            [piece](std::uint64_t count) {
                for (; count > 0; --count) {
                    piece();
                }
            },
            {}};
}

/// Returns a contender that reads a head by `reader`, which returns the count of its header fields.
bench::contender reader_of_heads(std::string name, std::size_t (*reader)(std::string_view), std::string head,
                                 std::size_t fields)
{
    return each(std::move(name), [=] { require(reader(head) == fields, "another count of header fields"); });
}

constexpr double of_beast = 0.4;
constexpr double of_head = 1.5;

void parse_icap_reply()
{
    const char* const end = icap_reply.data() + icap_reply.size();
    http::response_data record;
    const http::parse_info parsed = http::parse_icap_response(icap_reply.data(), end, record);
    require(parsed.hit && parsed.stop == end, "no head of a reply");
    bench::keep(record);
}

void icap_head(bench::contests& all)
{
    const char* const end = icap_reply.data() + icap_reply.size();
    http::response_data record;
    http::parse_icap_response(icap_reply.data(), end, record);
    require(record.status == 204 && record.reason == "No Content", "another status");
    require(record.fields.size() == 6 && record.fields.at("ISTag") == "\"2026-11-21-0001\"", "other headers");
    // The peer reads only HTTP; the text has the same size.
    const std::string http = "HTTP" + std::string(icap_reply.substr(4));
    all.hold(
        {"ICAP reply head",
         each("parse_icap_response", parse_icap_reply),
         {{reader_of_heads("a bare scan for line ends and colons", bench::scan_lines_and_colons, http, 8)},
          {reader_of_heads("Boost.Beast, no record", bench::read_response_by_beast, http, 6)},
          {reader_of_heads("Boost.Beast", bench::parse_response_by_beast, http, 6), bench::ratio::cost, of_beast}}});
}

void http_head(bench::contests& all)
{
    const char* const end = http_request.data() + http_request.size();
    const auto parse = [end] {
        http::request_data record;
        const http::parse_info parsed = http::parse_http_request(http_request.data(), end, record);
        require(parsed.hit && parsed.stop == end, "no head of a request");
        bench::keep(record);
    };
    http::request_data record;
    http::parse_http_request(http_request.data(), end, record);
    require(record.method == "POST" && record.uri == request_uri, "another request line");
    require(record.fields.size() == 5 && record.fields.at("Content-Length") == "4096", "other headers");
    const std::string text(http_request);
    all.hold(
        {"HTTP request head",
         each("parse_http_request", parse),
         {{reader_of_heads("a bare scan for line ends and colons", bench::scan_lines_and_colons, text, 7)},
          {reader_of_heads("Boost.Beast, no record", bench::read_request_by_beast, text, 5)},
          {reader_of_heads("Boost.Beast", bench::parse_request_by_beast, text, 5), bench::ratio::cost, of_beast}}});
}

void icap_reply_to_message(bench::contests& all)
{
    const auto analyzer = std::make_shared<icap::analyzer>();
    const auto read = [analyzer] {
        analyzer->enqueue(icap_reply.data(), icap_reply.data() + icap_reply.size());
        std::unique_ptr<icap::message> message = analyzer->extract();
        require(message && message->complete(), "no complete reply");
        return message;
    };
    const auto message = read();
    const auto* const reply = dynamic_cast<const icap::response_message*>(message.get());
    require(reply != nullptr && reply->status() == 204, "another status");
    all.hold({"ICAP reply to a message",
              each("icap::analyzer", read),
              {{each("its head alone", parse_icap_reply), bench::ratio::cost, of_head}}});
}

/// The search for a head in as much garbage as an analyzer holds, all of it beginnings of requests that share one end.
void garbage(bench::contests& all)
{
    std::string text;
    while (text.size() < 16384) {
        text += "GET a ";
    }
    text += '\n';
    const std::string with_head = text + "PATCH /";
    const char* const start = http::find_http_request(with_head.data(), with_head.data() + with_head.size());
    require(start == with_head.data() + text.size(), "the beginning of a head was not found");
    const auto search = [text] {
        const char* const end = text.data() + text.size();
        require(http::find_http_request(text.data(), end) == end && http::find_http_response(text.data(), end) == end,
                "a head was found");
    };
    const auto twice = [text = text.substr(0, text.size() - 1) + text] {
        const char* const end = text.data() + text.size();
        require(http::find_http_request(text.data(), end) == end && http::find_http_response(text.data(), end) == end,
                "a head was found");
    };
    // Half the time of twice the garbage: the time for a byte does not depend on their number.
    all.hold({"search for a head in 16 KiB of garbage",
              each("find_http_request", search),
              {{each("in 32 KiB", twice), bench::ratio::cost, 0.6}}});
}

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
void chunk_decoding(bench::contests& all, std::size_t chunk_size)
{
    constexpr std::uint64_t chunks = 1024;
    constexpr std::size_t piece = 16384;
    const std::string work = "1024 chunks of " + std::to_string(chunk_size) + " bytes";
    if (!all.is_wanted(work)) {
        return;
    }
    std::string wire;
    for (std::uint64_t i = 0; i < chunks; ++i) {
        wire += winapi::to_hex(chunk_size) + "\r\n" + std::string(chunk_size, 'x') + "\r\n";
    }
    wire += "0\r\n\r\n";
    const std::string head = "POST / HTTP/1.1\r\nContent-Length: 4294967294\r\n\r\n";
    const auto decode = [&] {
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
        require(body.completed() && message.body_size() == chunks * chunk_size,
                "the body did not end, or has another size");
    };
    const auto walk = [&] { require(bench::walk_over_chunks(wire) == chunks * chunk_size, "another size"); };
    all.hold({work, each("http_message_body", decode), {{each("a bare walk over the chunk lines", walk)}}});
}

/// A last chunk with trailer lines of 64 bytes, each passed on its own.
void read_trailers(std::size_t count)
{
    static const std::string line = "name: " + std::string(56, 'v') + "\r\n";
    constexpr std::string_view zero = "0\r\n";
    constexpr std::string_view blank = "\r\n";
    http::chunk_decoder decoder;
    std::uint64_t used = 0;
    decoder.read_line(zero.data(), zero.data() + zero.size(), used);
    for (std::size_t number = 0; number < count; ++number) {
        decoder.read_line(line.data(), line.data() + line.size(), used);
    }
    const auto last = decoder.read_line(blank.data(), blank.data() + blank.size(), used);
    require(last.completed && last.trailers.size() == count * line.size(),
            "the trailer lines did not end, or are others");
}

void trailer_lines(bench::contests& all)
{
    constexpr std::size_t few = 1000;
    constexpr std::size_t many = 16000;
    const auto often = [] {
        for (std::size_t done = 0; done < many; done += few) {
            read_trailers(few);
        }
    };
    // Near 1 if the time for a line does not depend on their number.
    all.hold({"16,000 trailer lines",
              each("chunk_decoder", [] { read_trailers(many); }),
              {{each("16 times 1,000 lines", often), bench::ratio::cost, 1.2}}});
}

void base64(bench::contests& all)
{
    std::string bytes(48 * 1024, 0);
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        bytes[at] = static_cast<char>(at * 7 + at / 251);
    }
    const std::string text = winapi::base64::encode(bytes);
    std::string out(text.size() + 1, 0);
    const auto decode = [&] { require(winapi::base64::decode(text)->size() == bytes.size(), "another size"); };
    const auto decode_by_peer = [&] { require(bench::decode_by_openssl(text, out) == bytes.size(), "another size"); };
    require(*winapi::base64::decode(text) == bytes, "other bytes");
    all.hold({"base64, 64 KiB decoded", each("base64::decode", decode), {{each("OpenSSL", decode_by_peer)}}});
    const auto encode = [&] { require(winapi::base64::encode(bytes).size() == text.size(), "another size"); };
    const auto encode_by_peer = [&] { require(bench::encode_by_openssl(bytes, out) == text.size(), "another size"); };
    all.hold({"base64, 64 KiB encoded", each("base64::encode", encode), {{each("OpenSSL", encode_by_peer)}}});
}

} // namespace

int main(int count, char** arguments)
{
    return bench::run_contests(count, arguments, [](bench::contests& all) {
        icap_head(all);
        http_head(all);
        icap_reply_to_message(all);
        garbage(all);
        chunk_decoding(all, 4096);
        chunk_decoding(all, 65536);
        trailer_lines(all);
        base64(all);
    });
}
