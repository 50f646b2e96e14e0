#pragma once

#include <string>
#include <string_view>

namespace service {

/// Returns UTF-8 as characters without their case, as far as the letters of the Latin, Greek and Cyrillic alphabets
/// with one counterpart of the same block have one. Text that is not UTF-8 is decoded as Latin-1.
[[nodiscard]] std::u32string without_case(std::string_view text);

/// A pattern that a whole text must match: "*" matches any number of characters, "?" one, and every other character
/// itself in either case.
class wildcard
{
public:
    static constexpr std::size_t longest = 256; ///< characters of a pattern

    /// Throws std::invalid_argument if `pattern` is empty, too long, not UTF-8 or contains control characters.
    explicit wildcard(std::string_view pattern);

    /// `text` must be a result of without_case(). Takes time in proportion to the product of both sizes at most.
    [[nodiscard]] bool matches(std::u32string_view text) const;

private:
    std::u32string pattern_;
};

} // namespace service
