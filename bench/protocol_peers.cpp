#include "bench/protocol_peers.h"

#include "bench/contest.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/http.hpp>

#include <array>
#include <charconv>
#include <cstring>
#include <openssl/evp.h>
#include <stdexcept>

namespace bench {

namespace {

namespace beast = boost::beast::http;

template <typename Parser>
void put_head(Parser& parser, std::string_view head)
{
    boost::beast::error_code error;
    parser.put(boost::asio::const_buffer(head.data(), head.size()), error);
    require(!error && parser.is_header_done(), "the peer refuses the head");
}

template <bool IsRequest>
std::size_t parse(std::string_view head)
{
    beast::parser<IsRequest, beast::empty_body> parser;
    put_head(parser, head);
    const auto& fields = parser.get();
    std::size_t count = 0;
    for (auto field = fields.begin(); field != fields.end(); ++field) {
        ++count;
    }
    return count;
}

/// Counts the fields.
template <bool IsRequest>
class counting_parser final : public beast::basic_parser<IsRequest>
{
public:
    std::size_t count = 0;

private:
    using text = boost::beast::string_view;
    using error_code = boost::beast::error_code;

    void on_request_impl(beast::verb, text, text, int, error_code&) override {}
    void on_response_impl(int, text, int, error_code&) override {}
    void on_field_impl(beast::field, text, text, error_code&) override { ++count; }
    void on_header_impl(error_code&) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>&, error_code&) override {}
    std::size_t on_body_impl(text body, error_code&) override { return body.size(); }
    void on_chunk_header_impl(std::uint64_t, text, error_code&) override {}
    std::size_t on_chunk_body_impl(std::uint64_t, text body, error_code&) override { return body.size(); }
    void on_finish_impl(error_code&) override {}
};

template <bool IsRequest>
std::size_t read(std::string_view head)
{
    counting_parser<IsRequest> parser;
    put_head(parser, head);
    return parser.count;
}

const unsigned char* bytes_of(std::string_view text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::size_t checked_size(int size, std::string_view in)
{
    require(size >= 0, "OpenSSL refuses the text");
    // OpenSSL counts padding as bytes.
    const auto padding = in.ends_with("==") ? 2U : in.ends_with('=') ? 1U : 0U;
    return static_cast<std::size_t>(size) - padding;
}

} // namespace

std::size_t scan_lines_and_colons(std::string_view head)
{
    struct line
    {
        std::uint32_t colon;
        std::uint32_t end;
    };
    std::array<line, 32> lines;
    std::size_t count = 0;
    const char* const begin = head.data();
    const char* const end = begin + head.size();
    for (const char* at = begin; at != end && count != lines.size();) {
        const auto left = static_cast<std::size_t>(end - at);
        const auto* const line_end = static_cast<const char*>(std::memchr(at, '\n', left));
        require(line_end != nullptr, "a line without an end");
        const auto* const colon =
            static_cast<const char*>(std::memchr(at, ':', static_cast<std::size_t>(line_end - at)));
        lines[count++] = {static_cast<std::uint32_t>((colon == nullptr ? line_end : colon) - begin),
                          static_cast<std::uint32_t>(line_end - begin)};
        at = line_end + 1;
    }
    keep(lines);
    return count;
}

std::size_t parse_response_by_beast(std::string_view head)
{
    return parse<false>(head);
}

std::size_t parse_request_by_beast(std::string_view head)
{
    return parse<true>(head);
}

std::size_t read_response_by_beast(std::string_view head)
{
    return read<false>(head);
}

std::size_t read_request_by_beast(std::string_view head)
{
    return read<true>(head);
}

std::uint64_t walk_over_chunks(std::string_view wire)
{
    constexpr std::size_t line_end = 2;
    std::uint64_t sum = 0;
    for (;;) {
        std::uint64_t size = 0;
        const char* const end = wire.data() + wire.size();
        const char* const digits_end = std::from_chars(wire.data(), end, size, 16).ptr;
        if (size == 0) {
            return sum;
        }
        sum += size;
        wire.remove_prefix(static_cast<std::size_t>(digits_end - wire.data()) + line_end + size + line_end);
    }
}

std::size_t decode_by_openssl(std::string_view text, std::string& out)
{
    auto* const to = reinterpret_cast<unsigned char*>(out.data());
    return checked_size(EVP_DecodeBlock(to, bytes_of(text), static_cast<int>(text.size())), text);
}

std::size_t encode_by_openssl(std::string_view bytes, std::string& out)
{
    auto* const to = reinterpret_cast<unsigned char*>(out.data());
    return static_cast<std::size_t>(EVP_EncodeBlock(to, bytes_of(bytes), static_cast<int>(bytes.size())));
}

} // namespace bench
