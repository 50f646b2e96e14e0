#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

/// Names, lists and blanks in the heads of protocols and in files: only ASCII letters have a case.
namespace winapi {

/// Blanks, and the line ends of a folded value.
inline constexpr std::string_view usual_blanks = " \t\r\n";

/// Returns the lower-case letter for an upper-case ASCII letter, and any other character unchanged.
[[nodiscard]] constexpr char ascii_lower(char letter) noexcept
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

/// Returns true if the texts are the same in any case of ASCII letters.
[[nodiscard]] constexpr bool same_no_case(std::string_view left, std::string_view right) noexcept
{
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return ascii_lower(one) == ascii_lower(other); });
}

/// Returns `text` without any of the characters `blanks` at its beginning.
[[nodiscard]] constexpr std::string_view trimmed_left(std::string_view text,
                                                      std::string_view blanks = usual_blanks) noexcept
{
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    return text;
}

/// Returns `text` without any of the characters `blanks` at both ends.
[[nodiscard]] constexpr std::string_view trimmed(std::string_view text, std::string_view blanks = usual_blanks) noexcept
{
    text = trimmed_left(text, blanks);
    return text.substr(0, text.find_last_not_of(blanks) + 1);
}

/// Takes the part ahead of the next `separator`, and the separator, off `text`. Returns the part, trimmed.
constexpr std::string_view take_part(std::string_view& text, char separator,
                                     std::string_view blanks = usual_blanks) noexcept
{
    const std::size_t end = std::min(text.find(separator), text.size());
    const std::string_view part = trimmed(text.substr(0, end), blanks);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

/// Returns true if a list whose parts are separated by commas contains `wanted`, in any case of letters.
[[nodiscard]] constexpr bool list_contains(std::string_view list, std::string_view wanted) noexcept
{
    while (!list.empty()) {
        if (same_no_case(take_part(list, ','), wanted)) {
            return true;
        }
    }
    return false;
}

} // namespace winapi
