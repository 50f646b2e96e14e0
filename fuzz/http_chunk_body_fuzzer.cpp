#include "tests/tool/http/body_judge.h"
#include "tool/http/analyzer.h"
#include "tool/http/message_body.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// Passes a stream in pieces to both decoders of chunked bodies and stops at the first difference. The first byte of
/// the input is the length of a piece (0: all of it), the rest is the stream.
namespace {

std::unique_ptr<http::message> make_message(std::size_t expected)
{
    // A length that the payload cannot exceed keeps the body in memory.
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(expected + 1) + "\r\n\r\n";
    http::analyzer analyzer;
    analyzer.enqueue(head.data(), head.data() + head.size());
    return analyzer.extract();
}

void require(bool condition)
{
    if (!condition) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const std::size_t length = data[0] == 0 ? size : data[0];
    const auto message = make_message(size);
    http::http_message_body own(*message, false, false, 0);
    judge::chunked_body judged;
    for (std::size_t place = 1; place < size && !judged.completed();) {
        const std::size_t count = std::min(length, size - place);
        const std::vector<char> piece(data + place, data + place + count);
        const std::size_t expected = judged.append(std::string_view(piece.data(), piece.size()));
        require(own.append(piece.data(), piece.data() + piece.size()) == expected);
        require(own.completed() == judged.completed());
        place += expected;
    }
    std::string payload(static_cast<std::size_t>(message->body_size()), '\0');
    message->body().read(0, payload.data(), payload.size());
    require(payload == judged.payload() && own.ieof() == judged.ieof());
    require(
        std::equal(own.trailers().begin(), own.trailers().end(), judged.trailers().begin(), judged.trailers().end()));
    return 0;
}
