#include "tool/http/content_values.h"

#include "tool/http/grammar_rules.h"
#include "tool/system/conversions.h"

#include <array>
#include <limits>

namespace http {

namespace {

struct named_value
{
    std::string_view name;
    std::uint32_t value;
};

constexpr std::array kinds{
    named_value{"application", 4}, named_value{"audio", 5},     named_value{"image", 6}, named_value{"message", 7},
    named_value{"model", 8},       named_value{"multipart", 9}, named_value{"text", 10}, named_value{"video", 11},
};

constexpr std::array encodings{
    named_value{"x-gzip", 1},   named_value{"gzip", 1},    named_value{"x-compress", 2},
    named_value{"compress", 2}, named_value{"deflate", 3},
};

constexpr bool is_white(char value) noexcept
{
    return value == ' ' || (value >= '\t' && value <= '\r');
}

void skip_white(std::string_view& text) noexcept
{
    while (!text.empty() && is_white(text.front())) {
        text.remove_prefix(1);
    }
}

/// Reads a number with optional white space and sign ahead of it, as strtoul does. Returns false if there is no digit.
bool take_number(std::string_view& text, std::uint32_t& out) noexcept
{
    skip_white(text);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    if (text.empty() || !rules::is_digit(text.front())) {
        return false;
    }
    constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
    std::uint64_t value = 0;
    while (!text.empty() && rules::is_digit(text.front())) {
        if (value <= largest) {
            value = value * 10 + static_cast<std::uint64_t>(text.front() - '0');
        }
        text.remove_prefix(1);
    }
    if (value > largest) {
        out = static_cast<std::uint32_t>(largest);
    } else {
        out = static_cast<std::uint32_t>(negative ? std::uint64_t{0} - value : value);
    }
    return true;
}

bool take_byte(std::string_view& text, char wanted) noexcept
{
    if (!text.starts_with(wanted)) {
        return false;
    }
    text.remove_prefix(1);
    return true;
}

} // namespace

std::uint32_t content_kind_of(std::string_view content_type) noexcept
{
    const std::size_t slash = content_type.find('/');
    if (slash == std::string_view::npos) {
        return 0;
    }
    const std::string_view name = content_type.substr(0, slash);
    for (const named_value& kind : kinds) {
        if (winapi::compare_no_case(kind.name, name) == 0) {
            return kind.value;
        }
    }
    return 0;
}

std::uint32_t encoding_kind_of(std::string_view content_encoding) noexcept
{
    for (const named_value& encoding : encodings) {
        if (encoding.name == content_encoding) {
            return encoding.value;
        }
    }
    return 0;
}

content_range_data content_range_of(std::string_view content_range)
{
    constexpr std::string_view unit = "bytes";
    content_range_data bounds;
    if (!content_range.starts_with(unit)) {
        return {};
    }
    content_range.remove_prefix(unit.size());
    const bool matches = take_number(content_range, bounds.first) && take_byte(content_range, '-') &&
                         take_number(content_range, bounds.last) && take_byte(content_range, '/') &&
                         take_number(content_range, bounds.total);
    return matches ? bounds : content_range_data{};
}

std::uint32_t decimal_of(std::string_view text) noexcept
{
    std::uint32_t value = 0;
    take_number(text, value);
    return value;
}

} // namespace http
