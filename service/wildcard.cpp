#include "service/wildcard.h"

#include "service/safe_text.h"
#include "tool/system/utf.h"

#include <stdexcept>

namespace service {

namespace {

struct letters
{
    char32_t first;
    char32_t last;
    char32_t distance; ///< to the small letters
};

constexpr letters capitals[] = {
    {U'A', U'Z', 32},   {0xC0, 0xD6, 32},   {0xD8, 0xDE, 32},   {0x391, 0x3A1, 32},
    {0x3A3, 0x3A9, 32}, {0x400, 0x40F, 80}, {0x410, 0x42F, 32},
};

char32_t small_letter(char32_t character)
{
    for (const letters& some : capitals) {
        if (character >= some.first && character <= some.last) {
            return character + some.distance;
        }
    }
    return character;
}

} // namespace

std::u32string without_case(std::string_view text)
{
    const std::string valid = valid_utf8(text);
    std::u32string result;
    for (std::string_view rest = valid; !rest.empty();) {
        result.push_back(small_letter(winapi::utf::take_code_point(rest)));
    }
    return result;
}

wildcard::wildcard(std::string_view pattern)
    : pattern_(without_case(pattern))
{
    if (pattern.empty() || pattern_.size() > longest || display_text(pattern, longest) != pattern) {
        throw std::invalid_argument("'" + display_text(pattern) + "' is no pattern: 1 to " + std::to_string(longest) +
                                    " characters of UTF-8 without control characters");
    }
}

/// A star takes no character at first, and one more each time that the rest does not match. Only the last one is ever
/// tried again.
bool wildcard::matches(std::u32string_view text) const
{
    std::size_t in_pattern = 0;
    std::size_t behind_star = std::u32string::npos;
    std::size_t taken_up_to = 0;
    for (std::size_t in_text = 0; in_text < text.size();) {
        const bool more = in_pattern < pattern_.size();
        if (more && pattern_[in_pattern] == U'*') {
            behind_star = ++in_pattern;
            taken_up_to = in_text;
        } else if (more && (pattern_[in_pattern] == U'?' || pattern_[in_pattern] == text[in_text])) {
            ++in_pattern;
            ++in_text;
        } else if (behind_star != std::u32string::npos) {
            in_pattern = behind_star;
            in_text = ++taken_up_to;
        } else {
            return false;
        }
    }
    return pattern_.find_first_not_of(U'*', in_pattern) == std::u32string::npos;
}

} // namespace service
