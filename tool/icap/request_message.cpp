#include "tool/icap/request_message.h"

#include "tool/http/grammar.h"
#include "tool/icap/packet_reader.h"
#include "tool/icap/reply_readers.h"
#include "tool/system/conversions.h"

#include <stdexcept>
#include <string_view>

namespace icap {
namespace {

request_method method_of(std::string_view text) noexcept
{
    if (winapi::compare_no_case(text, "OPTIONS") == 0) {
        return request_method::options;
    }
    if (winapi::compare_no_case(text, "REQMOD") == 0) {
        return request_method::reqmod;
    }
    if (winapi::compare_no_case(text, "RESPMOD") == 0) {
        return request_method::respmod;
    }
    return request_method::unknown;
}

std::int32_t number_of(const http::fields& fields, std::string_view name)
{
    const auto found = fields.find(name);
    return found == fields.end() ? 0 : leading_number(found->second);
}

} // namespace

bool detail::request_complete(request_method method, const encapsulated_part& request,
                              const encapsulated_part& response)
{
    switch (method) {
    case request_method::reqmod:
        return request.completed();
    case request_method::respmod:
        return request.completed() && response.completed();
    case request_method::options:
        return true;
    case request_method::unknown:
        break;
    }
    throw std::runtime_error("complete(): unknown request method");
}

request_message::request_message(http::byte_vector raw_head, const http::request_data& record,
                                 const encapsulated_offsets& offsets)
    : message_base(std::move(raw_head), offsets)
    , http::message_headers_impl<http::request_data>(message_lock_, head_text_, record_, http::parse_icap_request)
    , record_(record)
    , method_(method_of(record.method))
{
    switch (method_) {
    case request_method::reqmod:
        append_handler_ = &request_message::append_reqmod;
        break;
    case request_method::respmod:
        append_handler_ = &request_message::append_respmod;
        break;
    case request_method::options:
        append_handler_ = &request_message::append_nothing;
        break;
    case request_method::unknown:
        throw std::runtime_error("unknown requet method");
    }
    if (method_ != request_method::options && offsets.req_hdr == 0) {
        throw std::runtime_error("invalid reqmod request: req-hdr must exists");
    }
    preview_present_ = record_.fields.find("Preview") != record_.fields.end();
    preview_size_ = static_cast<std::uint64_t>(number_of(record_.fields, "Preview"));
    allow_204_ = number_of(record_.fields, "Allow") == 204;
}

request_message::~request_message() = default;

bool request_message::complete()
{
    const std::lock_guard guard(message_lock_);
    return detail::request_complete(method_, request_part_, response_part_);
}

std::uint64_t request_message::append(const char* begin, const char* end)
{
    const std::lock_guard guard(message_lock_);
    if (complete() && !preview_present_) {
        throw std::runtime_error("request message has been completed");
    }
    return (this->*append_handler_)(begin, end);
}

std::unique_ptr<packet_reader> request_message::reader()
{
    return std::make_unique<packet_reader_impl>(*this);
}

detail::body_start request_message::main_body() const noexcept
{
    return {offsets_.null_body != 0, preview_present_, preview_size_};
}

std::uint64_t request_message::append_reqmod(const char* begin, const char* end)
{
    const head_bounds head{sole_request_head_size(),
                           "reqmod request: actual header size exceeded header size in request"};
    return append_range(begin, end, [&](const body_range& range) {
        if (head_read(request_part_, head)) {
            return request_part_.append_body(range.begin, range.end);
        }
        return append_head(request_part_, head, range, &link_, main_body());
    });
}

std::uint64_t request_message::append_respmod(const char* begin, const char* end)
{
    const head_bounds request{leading_request_head_size(),
                              "respmod request: actual header size exceeded header size in request"};
    const head_bounds response{request.end + response_head_size(),
                               "respmod request: actual response header size exceeded response header size in request"};
    return append_range(begin, end, [&](const body_range& range) {
        if (!head_read(request_part_, request)) {
            return append_head(request_part_, request, range, &link_, {true, false, 0});
        }
        if (!head_read(response_part_, response)) {
            return append_head(response_part_, response, range, &link_, main_body());
        }
        return response_part_.append_body(range.begin, range.end);
    });
}

std::uint64_t request_message::append_nothing(const char* /*begin*/, const char* /*end*/)
{
    throw std::runtime_error("implementation does not requeried");
}

http::http_message_body* request_message::main_body_or(const char* unsupported) const
{
    switch (method_) {
    case request_method::reqmod:
        return request_part_.body();
    case request_method::respmod:
        return response_part_.body();
    default:
        throw std::runtime_error(unsupported);
    }
}

void request_message::more_preview_need()
{
    const std::lock_guard guard(message_lock_);
    if (!preview_present_) {
        throw std::runtime_error("more_preview_need(): is not a preview mode");
    }
    more_preview_requested_ = true;
    http::http_message_body* body = main_body_or("more_preview_need(): unsupported request method");
    if (body == nullptr) {
        throw std::runtime_error("more_preview_need(): body does not exist");
    }
    body->more_preview_need();
}

bool request_message::is_endoff_preview()
{
    const std::lock_guard guard(message_lock_);
    http::http_message_body* body = main_body_or("is_endoff_preview(): unsupported request method");
    return body != nullptr && body->is_endoff_preview();
}

bool request_message::connection_close()
{
    const auto value = get("Connection");
    return value && winapi::compare_no_case(std::string_view(value->data(), value->size()), "keep-alive") != 0;
}

http::byte_vector request_message::host()
{
    const auto value = get("Host");
    http::byte_vector text = value ? *value : http::byte_vector();
    text.push_back('\0');
    return text;
}

std::string request_message::uri_path()
{
    const std::lock_guard guard(message_lock_);
    http::uri_data uri;
    const http::range text = record_.uri;
    if (!http::parse_uri(text.data(), text.data() + text.size(), uri).hit) {
        throw std::runtime_error("request_message: uri parsing failed");
    }
    return std::string(uri.path);
}

} // namespace icap
