#include "tool/http/head_search.h"

#include "tool/http/analyzer_core.h"
#include "tool/http/grammar.h"
#include "tool/http/grammar_rules.h"
#include "tool/http/method_words.h"

#include <algorithm>
#include <cstddef>

namespace http {

namespace {

bool known_method(const char* begin, const char* end)
{
    return begins_word(begin, end, basic_methods());
}

head_status request_status(const char* begin, const char* end, request_data& record)
{
    const parse_info parsed = parse_http_request(begin, end, record);
    return request_test(record, parsed, begin, end, &known_method);
}

} // namespace

head_status http_request_status(const char* begin, const char* end)
{
    request_data record;
    return request_status(begin, end, record);
}

head_status http_response_status(const char* begin, const char* end)
{
    response_data record;
    const parse_info parsed = parse_http_response(begin, end, record);
    return response_test(record, parsed, begin, end);
}

const char* find_http_request(const char* begin, const char* end)
{
    // A URI may contain blanks and whole words, and where it ends does not depend on where it begins. So all request
    // lines whose URIs begin ahead of `uri_end` continue there with the same text, and are invalid like the first one.
    const char* uri_end = begin;
    for (const char* at = begin; at != end; ++at) {
        const range text(at, static_cast<std::size_t>(end - at));
        if (text.size() >= longest_basic_method) {
            const std::size_t method = method_word_length(text);
            const char* uri = at + method;
            if (method == 0 || (rules::gap(uri, end) && uri < uri_end)) {
                continue;
            }
        }
        request_data record;
        if (request_status(at, end, record) != head_status::invalid) {
            return at;
        }
        if (!record.uri.empty()) {
            uri_end = record.uri.data() + record.uri.size();
        }
    }
    return end;
}

const char* find_http_response(const char* begin, const char* end)
{
    const auto first_letter = [end](const char* from) { return std::find(from, end, 'H'); };
    for (const char* at = first_letter(begin); at != end; at = first_letter(at + 1)) {
        if (http_response_status(at, end) != head_status::invalid) {
            return at;
        }
    }
    return end;
}

} // namespace http
