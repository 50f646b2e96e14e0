#include "tool/http/grammar.h"
#include "tool/http/grammar_rules.h"

#include <string_view>

namespace http {

namespace {

using namespace rules;

bool is_letter(char value) noexcept
{
    const char lower = static_cast<char>(value | 0x20);
    return byte(value) < 0x80 && lower >= 'a' && lower <= 'z';
}

bool is_letter_or_digit(char value) noexcept
{
    return is_letter(value) || is_digit(value);
}

/// Any number of letters, digits and the bytes of `others`.
void run(const char*& at, const char* end, std::string_view others, range& out) noexcept
{
    const char* begin = at;
    while (at != end && (is_letter_or_digit(*at) || others.find(*at) != std::string_view::npos)) {
        ++at;
    }
    detail::sequence(out, begin, at);
}

/// An optional mark and the text behind it.
void marked(const char*& at, const char* end, char mark, range& out) noexcept
{
    if (at != end && *at == mark) {
        ++at;
        run(at, end, {}, out);
    }
}

} // namespace

parse_info parse_uri(const char* begin, const char* end, uri_data& out)
{
    const char* at = begin;
    if (at != end && is_letter(*at)) {
        run(at, end, ".-+", out.scheme);
    }
    const char* behind_mark = at;
    if (literal(behind_mark, end, "://")) {
        at = behind_mark;
    }
    run(at, end, "=;,+*)('&$!:%~_-@.", out.authority);
    if (at == end || *at != '/') {
        return {false, at};
    }
    run(at, end, "/", out.path);
    marked(at, end, '?', out.query);
    marked(at, end, '#', out.fragment);
    return {true, at};
}

} // namespace http
