#include "tool/icap/analyzer.h"

#include "tool/http/grammar.h"
#include "tool/icap/encapsulated.h"
#include "tool/icap/request_message.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <array>
#include <stdexcept>
#include <string_view>

namespace icap {
namespace {

constexpr std::array<std::string_view, 3> methods{"OPTIONS", "REQMOD", "RESPMOD"};

bool known_method(const char* begin, const char* end)
{
    return http::begins_word(begin, end, methods);
}

/// A head, parsed as far as possible.
template <class Record>
struct parsed_head
{
    Record record;
    http::parse_info parsed;
    http::head_status status;
};

parsed_head<http::request_data> read_request(const char* begin, const char* end)
{
    parsed_head<http::request_data> head;
    head.parsed = http::parse_icap_request(begin, end, head.record);
    head.status = http::request_test(head.record, head.parsed, begin, end, known_method);
    return head;
}

parsed_head<http::response_data> read_response(const char* begin, const char* end)
{
    parsed_head<http::response_data> head;
    head.parsed = http::parse_icap_response(begin, end, head.record);
    head.status = http::response_test(head.record, head.parsed, begin, end);
    return head;
}

encapsulated_offsets required_offsets(const http::fields& fields)
{
    const auto found = fields.find("Encapsulated");
    if (found == fields.end()) {
        throw std::runtime_error("Encapsulated tag missed");
    }
    const auto list = read_encapsulated(found->second);
    if (!list) {
        throw std::runtime_error("Wrong format of Encapsulated tag ");
    }
    return list->offsets;
}

/// Makes a message with copies of a head and of its record, whose ranges point into the head.
template <class Message, class Record>
std::unique_ptr<message> message_of(Record record, const char* head_begin, const char* head_end,
                                    const encapsulated_offsets& offsets)
{
    http::byte_vector head(head_begin, head_end);
    http::move_text(record, head_begin, head.data());
    return std::make_unique<Message>(std::move(head), record, offsets);
}

/// Passes the bytes behind the head at `begin`, which ends at `head_end`, to its message. `count` is the number of
/// bytes skipped ahead of the head.
http::head_result<message> start_message(std::unique_ptr<message> made, const char* begin, const char* head_end,
                                         const char* end, std::size_t count)
{
    http::head_result<message> result;
    result.message = std::move(made);
    result.count = count + static_cast<std::size_t>(head_end - begin);
    if (head_end != end) {
        result.count += static_cast<std::size_t>(result.message->append(head_end, end));
    }
    return result;
}

} // namespace

std::unique_ptr<message> detail::make_message(std::uint32_t type, const char* head_begin, const char* head_end,
                                              const encapsulated_offsets& offsets)
{
    if (type == type_request) {
        http::request_data record;
        http::parse_icap_request(head_begin, head_end, record);
        return message_of<request_message>(record, head_begin, head_end, offsets);
    }
    if (type == type_response) {
        http::response_data record;
        http::parse_icap_response(head_begin, head_end, record);
        return message_of<response_message>(record, head_begin, head_end, offsets);
    }
    throw std::runtime_error("http message type is undefined");
}

analyzer::analyzer() = default;
analyzer::~analyzer() = default;

std::unique_ptr<analyzer> analyzer::create()
{
    return std::make_unique<analyzer>();
}

http::head_status analyzer::classify(const char* begin, const char* end)
{
    return read_request(http::skip_line_ends(begin, end), end).status;
}

void analyzer::feed(message& message)
{
    (void)core_.run(&message, [](const char*, const char*) { return http::head_result<icap::message>(); });
}

std::unique_ptr<message> analyzer::extract(bool accept_partial)
{
    return core_.run(nullptr, [this, accept_partial](const char* begin, const char* end) {
        return head_step(begin, end, accept_partial);
    });
}

http::head_result<message> analyzer::head_step(const char* range_begin, const char* end, bool accept_partial)
{
    const char* const begin = http::skip_line_ends(range_begin, end);
    const auto skipped = static_cast<std::size_t>(begin - range_begin);

    const auto request = read_request(begin, end);
    if (request.status == http::head_status::complete) {
        const bool options = winapi::compare_no_case(request.record.method, "OPTIONS") == 0;
        const auto offsets = options ? encapsulated_offsets{} : required_offsets(request.record.fields);
        const char* const stop = request.parsed.stop;
        return start_message(message_of<request_message>(request.record, begin, stop, offsets), begin, stop, end,
                             skipped);
    }
    if (request.status == http::head_status::partial) {
        return {nullptr, skipped, false};
    }
    const auto response = read_response(begin, end);
    if (response.status == http::head_status::invalid) {
        return drop_garbage(range_begin, end);
    }
    if (response.status == http::head_status::partial && (!accept_partial || response.record.fields.empty())) {
        return {nullptr, skipped, false};
    }
    const auto offsets = required_offsets(response.record.fields);
    const char* const stop = response.parsed.stop;
    // A head that has not ended is read again without the bytes behind it.
    return start_message(response.parsed.hit ? message_of<response_message>(response.record, begin, stop, offsets)
                                             : detail::make_message(type_response, begin, stop, offsets),
                         begin, stop, end, skipped);
}

http::head_result<message> analyzer::drop_garbage(const char* begin, const char* end)
{
    const char* const start =
        http::find_start(begin, end, [](const char* from, const char* to) { return read_request(from, to).status; });
    if (start == begin) {
        return {};
    }
    core_.skipped(begin, start);
    return {nullptr, static_cast<std::size_t>(start - begin), true};
}

} // namespace icap
