#include "tool/icap/response_message.h"

#include "tool/http/grammar.h"
#include "tool/icap/encapsulated.h"
#include "tool/icap/packet_reader.h"

#include <stdexcept>

namespace icap {
namespace {

response_body_type body_type_of(const encapsulated_offsets& offsets) noexcept
{
    if (offsets.req_hdr != 0) {
        return response_body_type::request;
    }
    if (offsets.res_hdr != 0) {
        return response_body_type::response;
    }
    if (offsets.null_body != 0 && offsets.null_body_offset == 0) {
        return response_body_type::none;
    }
    return response_body_type::unknown;
}

} // namespace

bool detail::response_complete(response_body_type type, const encapsulated_part& request,
                               const encapsulated_part& response)
{
    switch (type) {
    case response_body_type::request:
        return request.completed();
    case response_body_type::response:
        return response.completed();
    case response_body_type::none:
        return true;
    case response_body_type::unknown:
        break;
    }
    throw std::runtime_error("complete(): unknown type of body for response");
}

response_message::response_message(http::byte_vector raw_head, const http::response_data& record,
                                   const encapsulated_offsets& offsets)
    : message_base(std::move(raw_head), offsets)
    , http::message_headers_impl<http::response_data>(message_lock_, head_text_, record_, http::parse_icap_response)
    , record_(record)
    , body_type_(body_type_of(offsets))
{
    switch (body_type_) {
    case response_body_type::request:
        append_handler_ = &response_message::append_request;
        break;
    case response_body_type::response:
        append_handler_ = &response_message::append_response;
        break;
    case response_body_type::none:
        append_handler_ = &response_message::append_nothing;
        break;
    case response_body_type::unknown:
        throw std::runtime_error("unknown type of body for response");
    }
}

response_message::~response_message() = default;

bool response_message::complete()
{
    const std::lock_guard guard(message_lock_);
    return detail::response_complete(body_type_, request_part_, response_part_);
}

std::uint64_t response_message::append(const char* begin, const char* end)
{
    const std::lock_guard guard(message_lock_);
    if (complete()) {
        throw std::runtime_error("request message has been completed");
    }
    return (this->*append_handler_)(begin, end);
}

std::unique_ptr<packet_reader> response_message::reader()
{
    const std::lock_guard guard(message_lock_);
    if (encapsulated_from_messages(request_part_.message(), response_part_.message()) != offsets_) {
        throw std::runtime_error("built encapsulated tag is wrong");
    }
    return std::make_unique<packet_reader_impl>(*this);
}

std::uint64_t response_message::append_request(const char* begin, const char* end)
{
    return append_sole_part(request_part_, sole_request_head_size(), begin, end);
}

std::uint64_t response_message::append_response(const char* begin, const char* end)
{
    return append_sole_part(response_part_, response_head_size(), begin, end);
}

std::uint64_t response_message::append_nothing(const char* /*begin*/, const char* /*end*/)
{
    throw std::runtime_error("implementation does not requeried");
}

std::uint64_t response_message::append_sole_part(detail::encapsulated_part& part, std::uint32_t head_size,
                                                 const char* begin, const char* end)
{
    // A head that does not end within its size is not refused at once: the bytes behind it are passed to the HTTP
    // analyzer until its limit ends the response.
    const head_bounds head{head_size, nullptr};
    return append_range(begin, end, [&](const body_range& range) {
        if (head_read(part, head)) {
            return part.append_body(range.begin, range.end);
        }
        return append_head(part, head, range, nullptr, {offsets_.null_body != 0, false, 0});
    });
}

} // namespace icap
