#include "mail/msg/html_text.h"

#include "tool/system/conversions.h"

#include <map>
#include <stdexcept>

namespace host::msg {

namespace {

constexpr std::uint32_t ascii_page = 20127;

/// Returns the code point of the character that begins at `index` and moves `index` to its last unit: on some systems
/// wide characters are UTF-16 units.
std::uint32_t character_at(std::wstring_view text, std::size_t& index)
{
    const auto first = static_cast<std::uint32_t>(text[index]);
    if (first >= 0xD800U && first < 0xDC00U && index + 1 < text.size()) {
        const auto second = static_cast<std::uint32_t>(text[index + 1]);
        if (second >= 0xDC00U && second < 0xE000U) {
            ++index;
            return 0x10000U + ((first - 0xD800U) << 10U) + (second - 0xDC00U);
        }
    }
    return first;
}

std::string with_references(std::wstring_view text, std::uint32_t code_page)
{
    std::map<std::uint32_t, std::string> known;
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t begin = i;
        const std::uint32_t character = character_at(text, i);
        if (character < 0x80) {
            result.push_back(static_cast<char>(character));
            continue;
        }
        std::string& bytes = known[character];
        if (bytes.empty()) {
            bytes = narrow_exactly(text.substr(begin, i + 1 - begin), code_page)
                        .value_or("&#" + std::to_string(character) + ";");
        }
        result += bytes;
    }
    return result;
}

} // namespace

std::optional<std::string> narrow_exactly(std::wstring_view text, std::uint32_t code_page)
{
    try {
        std::string narrow = winapi::conv_to_char(text, code_page);
        if (winapi::conv_to_wide(narrow, code_page) == text) {
            return narrow;
        }
    } catch (const std::runtime_error&) { // a code page that is not installed contains no characters
    }
    return {};
}

property_value html_bytes(const property_value& text, std::uint32_t code_page)
{
    if (text.type == PT_STRING8) {
        return property_value::of_binary(std::get<bytes_ptr>(text.data));
    }
    const std::wstring html = text.wide();
    const std::uint32_t page = code_page == 0 ? ascii_page : code_page;
    auto whole = narrow_exactly(html, page);
    return property_value::of_binary(bytes_of(whole ? std::move(*whole) : with_references(html, page)));
}

} // namespace host::msg
