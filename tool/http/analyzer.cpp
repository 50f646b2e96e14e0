#include "tool/http/analyzer.h"

#include "tool/http/content_values.h"
#include "tool/http/grammar.h"
#include "tool/http/head_search.h"
#include "tool/http/header_names.h"
#include "tool/http/message_factory.h"
#include "tool/http/method_words.h"
#include "tool/system/ascii.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <string>
#include <utility>

namespace http {

namespace {

bool known_method(const char* begin, const char* end)
{
    return begins_word(begin, end, basic_methods());
}

/// A head that was found in the cache; the records point into the cache.
struct found_head
{
    std::uint32_t type = 0; ///< 0: no head
    const char* end = nullptr;
    request_data request;
    response_data response;
    bool taken_early = false; ///< the head of a response has not ended
    bool garbage = false;
};

/// Finds the kind of head at `begin`: first as a request, then as a response, last as a request with an unusual method.
found_head find_head(const char* begin, const char* end, bool accept_partial)
{
    found_head head;
    const parse_info as_request = parse_http_request(begin, end, head.request);
    const head_status request_status = request_test(head.request, as_request, begin, end, &known_method);
    if (request_status == head_status::complete) {
        head.type = type_request;
        head.end = as_request.stop;
        return head;
    }
    const parse_info as_response = parse_http_response(begin, end, head.response);
    const head_status response_status = response_test(head.response, as_response, begin, end);
    head.taken_early = response_status == head_status::partial && accept_partial && !head.response.fields.empty();
    if (response_status == head_status::complete || head.taken_early) {
        head.type = type_response;
        head.end = as_response.stop;
        return head;
    }
    if (response_status == head_status::partial || request_status == head_status::partial) {
        return head;
    }
    head.request = {};
    const parse_info as_extension = parse_http_extension_request(begin, end, head.request);
    head.garbage = !as_extension.hit;
    if (as_extension.hit) {
        head.type = type_request;
        head.end = as_extension.stop;
    }
    return head;
}

/// Returns the position behind garbage at which the next head may begin.
const char* next_start(const char* begin, const char* end)
{
    constexpr std::ptrdiff_t shortest_start = 2;
    const char* start = find_http_request(begin, end);
    if (start == end) {
        return find_http_response(begin, end);
    }
    return end - start < shortest_start ? end : start;
}

/// The body's length as the headers specify it.
struct body_length
{
    std::uint64_t value = 0;
    bool known = false;
};

body_length length_from_headers(const fields& table)
{
    const auto length = table.find(header_name::content_length);
    if (length == table.end() || table.contains(header_name::transfer_encoding)) {
        return {};
    }
    return {decimal_of(length->second), true};
}

bool is_connect_answer(const response_data& record)
{
    std::string reason(record.reason);
    std::transform(reason.begin(), reason.end(), reason.begin(), winapi::ascii_lower);
    return record.status == 200 && reason.find("connection established") != std::string::npos;
}

std::uint64_t length_of_response(const response_data& record, std::uint32_t request_method)
{
    if (request_method == method::head) {
        return 0;
    }
    const body_length length = length_from_headers(record.fields);
    const bool has_no_body = (record.status >= 100 && record.status <= 199) || record.status == 204 ||
                             record.status == 304 || is_connect_answer(record);
    return length.known || has_no_body ? length.value : unknown_length;
}

bool is_chunked(const fields& table)
{
    const auto encoding = table.find(header_name::transfer_encoding);
    return encoding != table.end() && winapi::compare_no_case(encoding->second, chunked_word) == 0;
}

} // namespace

analyzer::analyzer(support_persistent* link)
    : link_(link)
{}

analyzer::~analyzer() = default;

head_status analyzer::classify(const char* begin, const char* end)
{
    begin = skip_line_ends(begin, end);
    const head_status status = http_request_status(begin, end);
    if (status != head_status::invalid) {
        return status;
    }
    request_data record;
    const bool known = parse_http_extension_request(begin, end, record).hit && method_id(record.method) != 0;
    return known ? head_status::complete : status;
}

void analyzer::feed(message& message)
{
    core_.run(&message, [this](const char* begin, const char* end) { return head_step(begin, end, false); });
}

std::unique_ptr<message> analyzer::extract(bool accept_partial)
{
    return core_.run(nullptr, [this, accept_partial](const char* begin, const char* end) {
        return head_step(begin, end, accept_partial);
    });
}

std::unique_ptr<analyzer> analyzer::create()
{
    return std::make_unique<analyzer>(link_);
}

support_persistent* analyzer::set_tracker(support_persistent* link)
{
    return std::exchange(link_, link);
}

head_result<message> analyzer::head_step(const char* begin, const char* end, bool accept_partial)
{
    head_result<message> result;
    const char* head_begin = skip_line_ends(begin, end);
    const found_head head = find_head(head_begin, end, accept_partial);
    if (head.garbage) {
        const char* start = next_start(begin, end);
        result.count = static_cast<std::size_t>(start - begin);
        result.garbage = start != begin;
        if (result.garbage) {
            core_.skipped(begin, start);
        }
        return result;
    }
    if (head.type == 0) {
        result.count = static_cast<std::size_t>(head_begin - begin);
        return result;
    }
    message_plan plan;
    plan.type = head.type;
    plan.head_begin = head_begin;
    plan.head_end = head.end;
    if (head.type == type_request) {
        plan.request = &head.request;
        plan.content_length = length_from_headers(head.request.fields).value;
        plan.chunked = is_chunked(head.request.fields);
        if (link_ != nullptr) {
            link_->set(method_id(head.request.method));
        }
    } else {
        plan.response = head.taken_early ? nullptr : &head.response;
        plan.request_method = link_ != nullptr ? link_->get() : method::unknown;
        plan.content_length = length_of_response(head.response, plan.request_method);
        plan.chunked = is_chunked(head.response.fields);
    }
    result.message = make_message(plan);
    const auto offered = std::min(static_cast<std::uint64_t>(end - head.end), plan.content_length);
    const std::uint64_t taken = offered == 0 ? 0 : result.message->append(head.end, head.end + offered);
    result.count = static_cast<std::size_t>(head.end - begin) + static_cast<std::size_t>(taken);
    return result;
}

} // namespace http
