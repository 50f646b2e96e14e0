#pragma once

#include "tool/http/head_records.h"

/// The search for the next HTTP head behind garbage. The time is proportional to the length of the range.
namespace http {

/// Classifies [begin, end) as the head of a request with a word of the grammar, by one parse and request_test(). Only
/// the words of basic_methods() are known before they are complete.
[[nodiscard]] head_status http_request_status(const char* begin, const char* end);
/// Classifies [begin, end) as the head of a response, by one parse and response_test().
[[nodiscard]] head_status http_response_status(const char* begin, const char* end);

/// Returns the first position for which http_request_status(position, end) is not head_status::invalid, or `end`.
[[nodiscard]] const char* find_http_request(const char* begin, const char* end);
/// Returns the first position for which http_response_status(position, end) is not head_status::invalid, or `end`.
[[nodiscard]] const char* find_http_response(const char* begin, const char* end);

} // namespace http
