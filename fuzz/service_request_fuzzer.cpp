#include "fuzz/piece_sizes.h"
#include "service/bad_request.h"
#include "service/engine/icap_answer.h"
#include "service/engine/icap_head.h"
#include "service/kept_memory.h"
#include "service/reply_maker.h"
#include "service/request_reader.h"
#include "tool/web/body_store.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Reads a stream of requests as a connection of the service does: previews are continued, several requests may follow
/// each other, and each complete one is answered. The first byte of the input selects the pieces, the second one the
/// verdicts, the rest is the stream. The stream is read twice, in pieces and as one piece, with the same outcome. Each
/// answer must be one whole message for another reader, without bytes behind it.
namespace {

constexpr service::request_reader::limits bounds{3000, 1000};
constexpr std::size_t longest_held = std::size_t{2} * 16640; ///< of a request that is incomplete
const std::string tag = "\"fuzz\"";

void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

std::string bytes_of(web::io_data& store)
{
    std::string bytes(static_cast<std::size_t>(store.size()), '\0');
    bytes.resize(static_cast<std::size_t>(store.read(0, bytes.data(), bytes.size())));
    return bytes;
}

service::verdict drawn_verdict(std::uint8_t draw)
{
    switch (draw % 5) {
    case 0:
        return service::clean_verdict{};
    case 1:
        return service::blocked_verdict{"A <threat>;\r\n"};
    case 2: {
        auto body = web::make_body_store(5);
        body->append("other", 5);
        return service::repaired_verdict{"Threat", std::move(body)};
    }
    case 3:
        return service::unchecked_verdict{"encrypted"};
    default:
        return service::error_verdict{"no engine"};
    }
}

/// Returns the bytes that a connection sends for a reply.
std::string written(icap::response_message& reply)
{
    constexpr std::string_view end_mark_of_nothing = "0\r\n\r\n0\r\n\r\n";
    const bool bodiless = reply.encapsulated().null_body != 0;
    const std::unique_ptr<icap::packet_reader> packets = reply.reader();
    std::string text;
    http::byte_vector bytes;
    icap::packet piece{&bytes};
    while (packets->read(piece)) {
        const std::string_view part(bytes.data(), bytes.size());
        if (!bodiless || part != end_mark_of_nothing) {
            text.append(part);
        }
    }
    return text;
}

/// Counts the bytes of a body.
struct body_counter final : service::icap_answer::body_receiver
{
    void receive(std::string_view bytes) override { count += bytes.size(); }
    std::size_t count = 0;
};

/// Reads an answer as another ICAP server's client does, apart from its encapsulated head, which may be that of the
/// peer.
void check_answer(const service::reply& reply)
{
    const std::string text = reply.bytes() != nullptr ? *reply.bytes() : written(*reply.message());
    try {
        const std::size_t length = service::head_length(text, 0);
        const service::icap_head head = service::read_icap_head(std::string_view(text).substr(0, length), "ICAP");
        require(head.status == (reply.bytes() != nullptr ? 204 : reply.message()->status()),
                "an answer has another status");
        const auto parts = service::read_encapsulated_parts(
            head.has("Encapsulated") ? head.field("Encapsulated") : "null-body=0", text.size());
        const std::size_t heads = parts.request_head + parts.response_head;
        require(length + heads <= text.size(), "an encapsulated head is cut off");
        service::icap_answer answer;
        body_counter body;
        answer.feed(parts.has_body ? "ICAP/1.0 200 OK\r\nEncapsulated: res-body=0\r\n\r\n"
                                   : "ICAP/1.0 200 OK\r\nEncapsulated: null-body=0\r\n\r\n",
                    body);
        answer.feed(std::string_view(text).substr(length + heads), body);
        require(answer.complete(), "an answer has no end");
        require(answer.surplus().empty(), "bytes follow an answer");
    } catch (const std::exception& refused) {
        require(false, refused.what());
    }
}

/// What came of a stream.
struct outcome
{
    std::vector<std::string> requests;
    std::uint32_t refused = 0; ///< status of the refusal that ended the stream
    bool early = false;        ///< a request was complete before its end mark
};

/// The requests of one stream, one after the other.
class conversation
{
public:
    explicit conversation(std::uint8_t verdicts)
        : verdicts_(verdicts)
    {}

    /// Returns false if the connection would be closed.
    bool take(std::string_view piece)
    {
        inbox_.append(piece);
        for (;;) {
            try {
                switch (reader_->read(inbox_)) {
                case service::request_reader::progress::need_more:
                    require(inbox_.size() <= longest_held, "bytes are held without a bound");
                    return true;
                case service::request_reader::progress::preview_ended:
                    check_answer(replies_.bare(tag, 100));
                    reader_->continue_behind_preview();
                    break;
                case service::request_reader::progress::complete:
                    if (!answer()) {
                        return false;
                    }
                    break;
                }
            } catch (const service::bad_request& problem) {
                result_.refused = problem.status();
                check_answer(replies_.bare(tag, problem.status(), true));
                return false;
            }
        }
    }
    [[nodiscard]] const outcome& result() const { return result_; }

private:
    bool answer()
    {
        icap::request_message& request = *reader_->request();
        const bool options = request.method() == icap::request_method::options;
        const bool close = request.connection_close();
        const bool early = reader_->ended_early();
        result_.early = result_.early || early;
        std::string noted = reader_->path();
        if (options) {
            noted += " options";
            check_answer(replies_.options(tag));
        } else {
            const std::string body = bytes_of(reader_->object().body());
            require(body.size() <= bounds.max_body, "an object is larger than its bound");
            const std::string name = service::object_name(*reader_);
            noted += " '" + name + "' " + (reader_->allows_204() ? "204 " : "") + body;
            try {
                check_answer(replies_.judged(tag, *reader_, drawn_verdict(verdicts_), name));
            } catch (const std::exception&) {
                // An object whose head cannot be written again is answered as a failure of the service.
                check_answer(replies_.bare(tag, service::server_error, true));
                result_.requests.push_back(std::move(noted));
                return false;
            }
            verdicts_ = static_cast<std::uint8_t>(verdicts_ / 5 + verdicts_ * 3);
        }
        result_.requests.push_back(std::move(noted));
        reader_ = std::make_unique<service::request_reader>(bounds, early);
        return !close;
    }

    service::reply_maker replies_{1000};
    std::unique_ptr<service::request_reader> reader_ = std::make_unique<service::request_reader>(bounds);
    std::string inbox_;
    std::uint8_t verdicts_;
    outcome result_;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/)
{
    service::keep_in_memory(std::uint64_t{1} << 20U);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t drawn = 2;
    if (size < drawn) {
        return 0;
    }
    const std::string_view stream(reinterpret_cast<const char*>(data) + drawn, size - drawn);
    conversation whole(data[1]);
    whole.take(stream);
    conversation pieces(data[1]);
    fuzz::piece_sizes sizes(data[0]);
    for (std::string_view rest = stream; !rest.empty();) {
        const std::string_view piece = rest.substr(0, sizes.next());
        rest.remove_prefix(piece.size());
        if (!pieces.take(piece)) {
            break;
        }
    }
    // The end mark of an empty body may be missing, so what follows is not the same for both if it is neither an end
    // mark nor a request.
    if (whole.result().early || pieces.result().early) {
        return 0;
    }
    require(whole.result().requests == pieces.result().requests, "the pieces make a difference");
    // A first line that has not ended may be refused at any of its bytes.
    const bool both = whole.result().refused != 0 && pieces.result().refused != 0;
    require(!both || whole.result().refused == pieces.result().refused, "the pieces make a difference to the refusal");
    return 0;
}
