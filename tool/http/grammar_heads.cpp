#include "tool/http/grammar.h"
#include "tool/http/grammar_rules.h"
#include "tool/http/method_words.h"

#include <string_view>

namespace http {

namespace {

using namespace rules;

/// A rule whose match is stored.
template <typename Rule>
bool stored(range& target, const char*& at, const char* end, Rule&& rule)
{
    const char* begin = at;
    if (!rule(at, end)) {
        return false;
    }
    detail::sequence(target, begin, at);
    return true;
}

/// A given text. Leaves `at` unchanged after a failure.
inline bool whole(const char*& at, const char* end, std::string_view text) noexcept
{
    const bool hit = std::string_view(at, static_cast<std::size_t>(end - at)).starts_with(text);
    at += hit ? text.size() : 0;
    return hit;
}

bool icap_method(const char*& at, const char* end) noexcept
{
    return whole(at, end, "REQMOD") || whole(at, end, "OPTIONS") || whole(at, end, "RESPMOD");
}

bool http_method(const char*& at, const char* end) noexcept
{
    const std::size_t length = method_word_length({at, static_cast<std::size_t>(end - at)});
    at += length;
    return length != 0;
}

/// One or more bytes in "!" to "|" that are neither lower-case letters nor separators.
bool extension_method(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    while (at != end && *at >= '!' && *at <= '|' && !(*at >= 'a' && *at <= 'z') && !is_separator(*at)) {
        ++at;
    }
    return at != begin;
}

/// One or more bytes in 0x20 to 0xFF or 0x05, up to a position that a gap and "HTTP" follow.
bool http_uri(const char*& at, const char* end) noexcept
{
    const char* begin = at;
    for (;;) {
        at = search::at_most(at, end, 0x20);
        if (at == end) {
            break;
        }
        if (*at == ' ') {
            // The same text follows each position in a run of blanks and tabs, so one test for the run is sufficient.
            const char* run = at;
            gap(run, end);
            if (std::string_view(run, static_cast<std::size_t>(end - run)).starts_with("HTTP")) {
                break;
            }
            while (at != run && *at == ' ') {
                ++at;
            }
        } else if (*at == 0x05) {
            ++at;
        } else {
            break;
        }
    }
    return at != begin;
}

/// Exactly three digits.
bool status(const char*& at, const char* end, std::uint32_t& out) noexcept
{
    std::uint32_t value = 0;
    for (int count = 0; count < 3; ++count) {
        if (at == end || !is_digit(*at)) {
            return false;
        }
        value = value * 10 + static_cast<std::uint32_t>(*at - '0');
        ++at;
    }
    if (at != end && is_digit(*at)) {
        return false;
    }
    out = value;
    return true;
}

/// Any number of bytes in 0x20 to 0xFF. Always matches.
bool reason(const char*& at, const char* end) noexcept
{
    at = search::at_most(at, end, 0x1F);
    return true;
}

/// The protocol's name, "/" and the version.
template <typename Record>
bool protocol(const char*& at, const char* end, std::string_view name, Record& out)
{
    return stored(out.protocol, at, end, [name](const char*& a, const char* e) { return literal(a, e, name); }) &&
           literal(at, end, "/") && stored(out.version, at, end, word);
}

/// The end of the start line, the headers, the blank line.
bool headers_part(const char*& at, const char* end, fields& out)
{
    return eol(at, end) && headers(at, end, out) && eol(at, end);
}

parse_info parse_response(const char* begin, const char* end, std::string_view name, response_data& out)
{
    const char* at = begin;
    const bool hit = protocol(at, end, name, out) && gap(at, end) && status(at, end, out.status) && blanks(at, end) &&
                     stored(out.reason, at, end, reason) && headers_part(at, end, out.fields);
    return {hit, at};
}

} // namespace

parse_info parse_icap_request(const char* begin, const char* end, request_data& out)
{
    const char* at = begin;
    const bool hit = stored(out.method, at, end, icap_method) && gap(at, end) && stored(out.uri, at, end, word) &&
                     gap(at, end) && protocol(at, end, "ICAP", out) && headers_part(at, end, out.fields);
    return {hit, at};
}

parse_info parse_icap_response(const char* begin, const char* end, response_data& out)
{
    return parse_response(begin, end, "ICAP", out);
}

parse_info parse_http_request(const char* begin, const char* end, request_data& out)
{
    const char* at = begin;
    const bool hit = stored(out.method, at, end, http_method) && gap(at, end) && stored(out.uri, at, end, http_uri) &&
                     gap(at, end) && protocol(at, end, "HTTP", out) && headers_part(at, end, out.fields);
    return {hit, at};
}

parse_info parse_http_extension_request(const char* begin, const char* end, request_data& out)
{
    const char* at = begin;
    const bool hit = stored(out.method, at, end, extension_method) && gap(at, end) && stored(out.uri, at, end, word) &&
                     gap(at, end) && literal(at, end, "HTTP/") && stored(out.version, at, end, word) &&
                     headers_part(at, end, out.fields);
    return {hit, at};
}

parse_info parse_http_response(const char* begin, const char* end, response_data& out)
{
    return parse_response(begin, end, "HTTP", out);
}

} // namespace http
