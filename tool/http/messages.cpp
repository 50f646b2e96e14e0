#include "tool/http/messages.h"

#include "tool/http/content_values.h"
#include "tool/http/grammar.h"
#include "tool/http/header_names.h"

#include <string_view>
#include <utility>

namespace http {

namespace {

/// The grammar of a request's own head after a change: a method that the request grammar refuses is read as an unusual
/// one.
parse_info parse_any_request(const char* begin, const char* end, request_data& out)
{
    const parse_info parsed = parse_http_request(begin, end, out);
    if (parsed.hit) {
        return parsed;
    }
    out = {};
    return parse_http_extension_request(begin, end, out);
}

std::string_view text_of(const std::unique_ptr<byte_vector>& value) noexcept
{
    return value ? std::string_view(value->data(), value->size()) : std::string_view();
}

} // namespace

request_message::request_message(byte_vector raw_head, const request_data& record, std::uint64_t content_length,
                                 std::unique_ptr<web::io_data> body)
    : generic_message(std::move(raw_head), content_length, std::move(body))
    , message_headers_impl(generic_message::lock_, generic_message::raw_head_, record_, &parse_any_request)
    , record_(record)
{}

void request_message::accept(message_handler& handler, void* argument)
{
    handler.on_request(*this, argument);
}

response_message::response_message(byte_vector raw_head, const response_data& record, std::uint64_t content_length,
                                   std::unique_ptr<web::io_data> body, std::uint32_t request_method)
    : generic_message(std::move(raw_head), content_length, std::move(body))
    , message_headers_impl(generic_message::lock_, generic_message::raw_head_, record_, &parse_http_response)
    , record_(record)
    , request_method_(request_method)
{}

std::uint32_t response_message::content_kind()
{
    return content_kind_of(text_of(get(header_name::content_type)));
}

std::uint32_t response_message::encoding_kind()
{
    return encoding_kind_of(text_of(get(header_name::content_encoding)));
}

content_range_data response_message::content_range()
{
    return content_range_of(text_of(get(header_name::content_range)));
}

void response_message::accept(message_handler& handler, void* argument)
{
    handler.on_response(*this, argument);
}

} // namespace http
