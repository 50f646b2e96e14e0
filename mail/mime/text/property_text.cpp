#include "mail/mime/text/property_text.h"

#include "mail/mime/text/storage_text.h"
#include "tool/system/base64.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <memory>
#include <utility>

namespace host {

namespace {

constexpr char list_mark = ',';
constexpr char code_page_mark = ':';

template <typename Number>
bool parse_number(std::string_view text, Number& number, int base = 10)
{
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return !text.empty() && problem == std::errc() && end == text.data() + text.size();
}

std::string utf8(std::wstring_view text)
{
    return percent_encode(winapi::conv_to_char(text, winapi::code_page_utf8));
}

std::wstring wide(std::string_view text)
{
    return winapi::conv_to_wide(percent_decode(text), winapi::code_page_utf8);
}

std::string bits_text(double real)
{
    return winapi::to_hex(std::bit_cast<std::uint64_t>(real));
}

/// Writes the contents of a value.
struct writer
{
    std::uint32_t code_page;

    std::string operator()(std::monostate) const { return "-"; }
    std::string operator()(std::int64_t number) const { return "n" + std::to_string(number); }
    std::string operator()(double real) const { return "r" + bits_text(real); }
    std::string operator()(const GUID& identifier) const { return "g" + guid_text(identifier); }
    std::string operator()(const property_value::text& text) const
    {
        const std::string encoded = utf8(*text);
        return wide(encoded) == *text ? "t" + encoded : "u" + winapi::base64::encode(to_utf16le(*text));
    }
    std::string operator()(const bytes_ptr& data) const
    {
        const std::string encoded = winapi::base64::encode(to_string(*data));
        return code_page == 0 ? "b" + encoded : "c" + std::to_string(code_page) + code_page_mark + encoded;
    }
    std::string operator()(const storage_ptr& tree) const { return "o" + winapi::base64::encode(storage_text(*tree)); }
    std::string operator()(const std::vector<std::int64_t>& list) const
    {
        return join('N', list, [](std::int64_t number) { return std::to_string(number); });
    }
    std::string operator()(const std::vector<double>& list) const { return join('R', list, bits_text); }
    std::string operator()(const std::vector<GUID>& list) const { return join('G', list, guid_text); }
    std::string operator()(const std::vector<std::wstring>& list) const { return join('T', list, utf8); }
    std::string operator()(const std::vector<std::string>& list) const
    {
        return join('B', list, winapi::base64::encode);
    }

private:
    /// Each value is followed by the separator, so that a list of one empty value differs from an empty list.
    template <typename Value, typename Write>
    static std::string join(char kind, const std::vector<Value>& list, Write&& write)
    {
        std::string text(1, kind);
        for (const Value& value : list) {
            text += write(value);
            text += list_mark;
        }
        return text;
    }
};

/// Passes each value of a list to `read`, which returns false if the value is invalid.
template <typename Read>
bool each(std::string_view text, Read&& read)
{
    while (!text.empty()) {
        const std::size_t end = text.find(list_mark);
        if (end == std::string_view::npos || !read(text.substr(0, end))) {
            return false;
        }
        text.remove_prefix(end + 1);
    }
    return true;
}

bool parse_real(std::string_view text, double& real)
{
    std::uint64_t bits = 0;
    if (!parse_number(text, bits, 16)) {
        return false;
    }
    real = std::bit_cast<double>(bits);
    return true;
}

/// Parses each value of a list with `parse`.
template <typename Value, typename Parse>
bool parse_list(std::string_view text, property_value& target, Parse&& parse)
{
    std::vector<Value> list;
    const bool good = each(text, [&](std::string_view item) {
        Value value{};
        if (!parse(item, value)) {
            return false;
        }
        list.push_back(std::move(value));
        return true;
    });
    target.data = std::move(list);
    return good;
}

template <typename Value, typename Parse>
bool parse_one(std::string_view text, property_value& target, Parse&& parse)
{
    Value value{};
    const bool good = parse(text, value);
    target.data = std::move(value);
    return good;
}

bool parse_bytes(std::string_view text, std::string& bytes)
{
    bytes = lenient_base64(text);
    return true;
}

bool parse_text(std::string_view text, std::wstring& result)
{
    result = wide(text);
    return true;
}

bool parse_coded(std::string_view text, property_value& value)
{
    const std::size_t mark = text.find(code_page_mark);
    if (mark == std::string_view::npos || !parse_number(text.substr(0, mark), value.code_page)) {
        return false;
    }
    value.data = bytes_of(lenient_base64(text.substr(mark + 1)));
    return true;
}

bool parse_storage(std::string_view text, property_value& value)
{
    storage_ptr tree = parse_storage_text(lenient_base64(text));
    const bool good = tree != nullptr;
    value.data = std::move(tree);
    return good;
}

bool parse_contents(std::string_view text, property_value& value)
{
    if (text.empty()) {
        return false;
    }
    const std::string_view rest = text.substr(1);
    const auto number = [](std::string_view digits, std::int64_t& result) { return parse_number(digits, result); };
    switch (text.front()) {
    case '-':
        return rest.empty();
    case 'n':
        return parse_one<std::int64_t>(rest, value, number);
    case 'r':
        return parse_one<double>(rest, value, parse_real);
    case 'g':
        return parse_one<GUID>(rest, value, parse_guid);
    case 't':
        value.data = property_value::of_text(wide(rest)).data;
        return true;
    case 'u':
        value.data = property_value::of_text(from_utf16le(lenient_base64(rest))).data;
        return true;
    case 'b':
        value.data = bytes_of(lenient_base64(rest));
        return true;
    case 'c':
        return parse_coded(rest, value);
    case 'o':
        return parse_storage(rest, value);
    case 'N':
        return parse_list<std::int64_t>(rest, value, number);
    case 'R':
        return parse_list<double>(rest, value, parse_real);
    case 'G':
        return parse_list<GUID>(rest, value, parse_guid);
    case 'T':
        return parse_list<std::wstring>(rest, value, parse_text);
    case 'B':
        return parse_list<std::string>(rest, value, parse_bytes);
    default:
        return false;
    }
}

template <typename Kind>
bool holds(const property_value& value)
{
    return std::holds_alternative<Kind>(value.data);
}

/// Returns true if the contents have the form that the store expects for the type. Values of other types are only
/// stored, with any contents.
bool fits_type(const property_value& value)
{
    switch (value.type) {
    case PT_I2:
    case PT_LONG:
    case PT_BOOLEAN:
    case PT_ERROR:
    case PT_I8:
    case PT_CURRENCY:
    case PT_SYSTIME:
        return holds<std::int64_t>(value);
    case PT_R4:
    case PT_DOUBLE:
    case PT_APPTIME:
        return holds<double>(value);
    case PT_CLSID:
        return holds<GUID>(value);
    case PT_UNICODE:
        return holds<property_value::text>(value) ||
               (holds<bytes_ptr>(value) && value.size() / 2 > property_value::longest_text + 1);
    case PT_STRING8:
    case PT_BINARY:
        return holds<bytes_ptr>(value);
    case PT_I2 | MV_FLAG:
    case PT_LONG | MV_FLAG:
    case PT_I8 | MV_FLAG:
    case PT_CURRENCY | MV_FLAG:
    case PT_SYSTIME | MV_FLAG:
        return holds<std::vector<std::int64_t>>(value);
    case PT_R4 | MV_FLAG:
    case PT_DOUBLE | MV_FLAG:
    case PT_APPTIME | MV_FLAG:
        return holds<std::vector<double>>(value);
    case PT_CLSID | MV_FLAG:
        return holds<std::vector<GUID>>(value);
    case PT_UNICODE | MV_FLAG:
        return holds<std::vector<std::wstring>>(value);
    case PT_STRING8 | MV_FLAG:
    case PT_BINARY | MV_FLAG:
        return holds<std::vector<std::string>>(value);
    default:
        return true;
    }
}

} // namespace

std::string value_text(const property_value& value)
{
    const writer write{value.code_page};
    if (value.type == PT_UNICODE && holds<bytes_ptr>(value)) {
        return write(std::make_shared<const std::wstring>(value.wide()));
    }
    return std::visit(write, value.data);
}

bool parse_value(std::string_view text, std::uint32_t type, property_value& value)
{
    value = property_value{type, {}};
    return parse_contents(text, value) && fits_type(value);
}

std::string percent_encode(std::string_view text)
{
    static constexpr std::string_view encoded = "%;,/#=\"\\()<>"; // separators of the list and of header syntax
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > ' ' && byte < 0x7FU && encoded.find(c) == std::string_view::npos) {
            result += c;
        } else {
            result += '%' + hex_text(byte, 2);
        }
    }
    return result;
}

std::string percent_decode(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        std::uint32_t byte = 0;
        if (text[i] == '%' && text.size() - i > 2 && parse_number(text.substr(i + 1, 2), byte, 16)) {
            result += static_cast<char>(byte);
            i += 2;
        } else {
            result += text[i];
        }
    }
    return result;
}

std::string lenient_base64(std::string_view text)
{
    std::string bytes;
    std::string groups; // whole ones but for the last, which may still be on its way
    const auto decode = [&] {
        bytes += winapi::base64::decode(groups).value_or(std::string());
        groups.clear();
    };
    for (const char c : text) {
        if (winapi::base64::is_digit_or_padding(c)) {
            groups += c;
            if (c == '=' && groups.size() % 4 == 0) {
                decode();
            }
        }
    }
    groups.resize(groups.size() / 4 * 4);
    decode();
    return bytes;
}

std::string hex_text(std::uint64_t number, std::size_t digits)
{
    std::string text = winapi::to_hex(number);
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' ? static_cast<char>(c - 'a' + 'A') : c; });
    return text.insert(0, digits - std::min(digits, text.size()), '0');
}

std::string guid_text(const GUID& identifier)
{
    std::string text = "{" + hex_text(identifier.Data1, 8) + "-" + hex_text(identifier.Data2, 4) + "-" +
                       hex_text(identifier.Data3, 4) + "-";
    for (std::size_t i = 0; i < 8; ++i) {
        text += (i == 2 ? "-" : "") + hex_text(identifier.Data4[i], 2);
    }
    return text + "}";
}

bool parse_guid(std::string_view text, GUID& identifier)
{
    constexpr std::string_view form = "{00000000-0000-0000-0000-000000000000}";
    if (text.size() != form.size()) {
        return false;
    }
    std::string digits;
    for (std::size_t i = 0; i < form.size(); ++i) {
        if (form[i] == '0') {
            digits += text[i];
        } else if (text[i] != form[i]) {
            return false;
        }
    }
    const std::string_view all = digits;
    bool good = parse_number(all.substr(0, 8), identifier.Data1, 16) &&
                parse_number(all.substr(8, 4), identifier.Data2, 16) &&
                parse_number(all.substr(12, 4), identifier.Data3, 16);
    for (std::size_t i = 0; i < 8; ++i) {
        good = good && parse_number(all.substr(16 + 2 * i, 2), identifier.Data4[i], 16);
    }
    return good;
}

} // namespace host
