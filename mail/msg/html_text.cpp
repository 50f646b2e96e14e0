#include "mail/msg/html_text.h"

#include "tool/system/conversions.h"
#include "tool/system/utf.h"

#include <map>
#include <stdexcept>

namespace host::msg {

namespace {

constexpr std::uint32_t ascii_page = 20127;

std::string with_references(std::wstring_view text, std::uint32_t code_page)
{
    std::map<std::uint32_t, std::string> known;
    std::string result;
    while (!text.empty()) {
        const auto next = winapi::utf::first_code_point(text);
        const auto number = next.valid ? std::uint32_t{next.code_point} : static_cast<std::uint32_t>(text.front());
        if (number < 0x80) {
            result.push_back(static_cast<char>(number));
        } else {
            std::string& bytes = known[number];
            if (bytes.empty()) {
                bytes =
                    narrow_exactly(text.substr(0, next.size), code_page).value_or("&#" + std::to_string(number) + ";");
            }
            result += bytes;
        }
        text.remove_prefix(next.size);
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
