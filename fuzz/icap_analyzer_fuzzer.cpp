#include "fuzz/piece_sizes.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/async_response.h"
#include "tool/icap/request_message.h"
#include "tool/icap/response_message.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

/// Feeds a stream of bytes in pieces to an analyzer and uses each message as the product does. The first byte of the
/// input selects the pieces, the rest is the stream. Exceptions are valid results; the sanitizers detect all other
/// failures.
namespace {

/// Accepts every response without any action.
class silent_notifier final : public icap::response_notifier
{
public:
    void options(const std::string&, std::uint32_t, const std::vector<std::string>&) override {}
    void continue_(const std::string&) override {}
    void no_content(const std::string&) override {}
    void blocked(const std::string&, const std::string&, const std::shared_ptr<icap::response_message>&) override {}
    void repaired(const std::string&, const std::shared_ptr<icap::response_message>&) override {}
    void error(const std::string&) override {}
};

template <class Call>
void attempt(Call call)
{
    try {
        call();
    } catch (const std::exception&) {
        // A refusal is a valid result.
    }
}

void write_out(icap::message& message)
{
    const std::unique_ptr<icap::packet_reader> reader = message.reader();
    http::byte_vector bytes;
    icap::packet piece{&bytes, 0};
    while (reader->read(piece)) {
    }
}

void use_request(icap::request_message& request)
{
    attempt([&] { (void)request.is_endoff_preview(); });
    attempt([&] { request.more_preview_need(); });
    attempt([&] { (void)request.uri_path(); });
    attempt([&] { (void)request.host(); });
    attempt([&] { (void)request.connection_close(); });
}

void use(const std::shared_ptr<icap::message>& message)
{
    attempt([&] { write_out(*message); });
    attempt([&] { message->headers().add("X-Fuzz", "1"); });
    if (auto* request = dynamic_cast<icap::request_message*>(message.get())) {
        use_request(*request);
    } else if (auto answer = std::dynamic_pointer_cast<icap::response_message>(message)) {
        silent_notifier notifier;
        attempt([&] { icap::async_response(answer).process(&notifier); });
    }
    for (const std::uint32_t kind : {http::type_request, http::type_response}) {
        attempt([&] { message->set_encapsulated(message->release_encapsulated(kind)); });
    }
    attempt([&] { write_out(*message); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const bool whole = data[0] == 0; // the stream in one piece
    fuzz::piece_sizes sizes(data[0]);
    icap::analyzer analyzer;
    std::shared_ptr<icap::message> message;
    for (std::size_t place = 1; place < size;) {
        const std::size_t count = whole ? size - place : std::min(sizes.next(), size - place);
        // A copy of exactly this size, so that a read beyond the piece is detected.
        const std::vector<char> piece(data + place, data + place + count);
        place += count;
        try {
            analyzer.enqueue(piece.data(), piece.data() + piece.size());
            (void)analyzer.classify(piece.data(), piece.data() + piece.size());
            if (message) {
                analyzer.feed(*message);
            } else {
                message = analyzer.extract(data[0] % 2 != 0);
            }
        } catch (const std::exception&) {
            (void)analyzer.take_cached();
        }
        if (message && message->complete()) {
            use(message);
            message.reset();
        }
    }
    if (message) {
        use(message);
    }
    return 0;
}
