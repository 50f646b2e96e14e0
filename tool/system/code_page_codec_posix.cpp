#include "tool/system/code_page_codec.h"
#include "tool/system/conversions.h"
#include "tool/system/iconv_posix.h"
#include "tool/system/utf.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace winapi::codec {

namespace {

constexpr std::uint32_t code_page_1252 = 1252;

/// Windows-1252 from 0x80 to 0x9F; outside of that range it equals Latin-1. The five bytes that the code page does not
/// define are converted to the control characters of the same number, as the system's own conversion does.
constexpr std::array<char32_t, 32> upper_1252{0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                              0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                              0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                              0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char to_1252(char32_t code_point) noexcept
{
    if (code_point < 0x80 || (code_point >= 0xA0 && code_point <= 0xFF)) {
        return static_cast<char>(static_cast<unsigned char>(code_point));
    }
    const auto* const found = std::find(upper_1252.begin(), upper_1252.end(), code_point);
    if (found == upper_1252.end()) {
        return '?';
    }
    return static_cast<char>(static_cast<unsigned char>(0x80 + (found - upper_1252.begin())));
}

wchar_t from_1252(char letter) noexcept
{
    const auto byte = static_cast<unsigned char>(letter);
    return static_cast<wchar_t>(byte >= 0x80 && byte <= 0x9F ? upper_1252[byte - 0x80U] : char32_t{byte});
}

/// Moves ASCII characters from the beginning of `text` to the end of `out`. They are the same in UTF-8 and in
/// Windows-1252, and most texts contain nothing else. Blocks of one size in local arrays let the compiler use vectors.
template <typename From, typename To>
void take_ascii(std::basic_string_view<From>& text, std::basic_string<To>& out)
{
    constexpr std::size_t block_size = 32;
    std::array<From, block_size> block;
    std::array<To, block_size> converted;
    while (text.size() >= block_size) {
        std::copy_n(text.begin(), block_size, block.begin());
        unsigned bits = 0;
        for (const From letter : block) {
            bits |= static_cast<unsigned>(letter);
        }
        if ((bits & ~0x7FU) != 0) {
            break;
        }
        for (std::size_t i = 0; i < block_size; ++i) {
            converted[i] = static_cast<To>(block[i]);
        }
        out.append(converted.data(), block_size);
        text.remove_prefix(block_size);
    }
    while (!text.empty() && (static_cast<unsigned>(text.front()) & ~0x7FU) == 0) {
        out.push_back(static_cast<To>(text.front()));
        text.remove_prefix(1);
    }
}

/// Returns iconv's name of a code page.
std::string iconv_name(std::uint32_t code_page)
{
    if (code_page >= 28591 && code_page <= 28606) {
        return "ISO-8859-" + std::to_string(code_page - 28590);
    }
    switch (code_page) {
    case 10000:
        return "MACINTOSH";
    case 20127:
        return "US-ASCII";
    case 20866:
        return "KOI8-R";
    case 20932:
    case 51932:
        return "EUC-JP";
    case 20936:
        return "GB2312";
    case 21866:
        return "KOI8-U";
    case 50220:
    case 50221:
    case 50222:
        return "ISO-2022-JP";
    case 51949:
        return "EUC-KR";
    case 54936:
        return "GB18030";
    case 65000:
        return "UTF-7";
    default:
        return "CP" + std::to_string(code_page);
    }
}

iconv_converter converter(const std::string& to, const std::string& from)
{
    return iconv_converter(::iconv_open(to.c_str(), from.c_str()));
}

std::optional<std::string> encode_by_iconv(std::wstring_view text, std::uint32_t code_page)
{
    iconv_converter to_code_page = converter(iconv_name(code_page), "WCHAR_T");
    if (!to_code_page) {
        return std::nullopt;
    }
    std::wstring characters;
    while (!text.empty()) {
        characters.push_back(static_cast<wchar_t>(utf::take_code_point(text)));
    }
    const auto bytes_of = [](std::wstring_view wide) {
        return std::string_view(reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t));
    };
    std::string out;
    std::string_view left = bytes_of(characters);
    while (to_code_page.run(left, out) != iconv_converter::stop::at_end) {
        std::string_view default_character = bytes_of(L"?");
        to_code_page.run(default_character, out);
        left.remove_prefix(sizeof(wchar_t));
    }
    to_code_page.finish(out);
    return out;
}

std::optional<std::wstring> decode_by_iconv(std::string_view text, std::uint32_t code_page)
{
    iconv_converter from_code_page = converter("WCHAR_T", iconv_name(code_page));
    if (!from_code_page) {
        return std::nullopt;
    }
    std::wstring out;
    while (from_code_page.run(text, out) != iconv_converter::stop::at_end) {
        out.push_back(static_cast<wchar_t>(utf::replacement_character));
        text.remove_prefix(1);
    }
    from_code_page.finish(out);
    return out;
}

} // namespace

std::optional<std::string> encode(std::wstring_view text, std::uint32_t code_page)
{
    if (code_page != code_page_utf8 && code_page != code_page_1252) {
        return encode_by_iconv(text, code_page);
    }
    std::string out;
    out.reserve(text.size());
    for (take_ascii(text, out); !text.empty(); take_ascii(text, out)) {
        const char32_t code_point = utf::take_code_point(text);
        if (code_page == code_page_utf8) {
            utf::append_utf8(out, code_point);
        } else {
            out.push_back(to_1252(code_point));
        }
    }
    return out;
}

std::optional<std::wstring> decode(std::string_view text, std::uint32_t code_page)
{
    if (code_page != code_page_utf8 && code_page != code_page_1252) {
        return decode_by_iconv(text, code_page);
    }
    std::wstring out;
    out.reserve(text.size());
    for (take_ascii(text, out); !text.empty(); take_ascii(text, out)) {
        if (code_page == code_page_utf8) {
            out.push_back(static_cast<wchar_t>(utf::take_code_point(text)));
        } else {
            out.push_back(from_1252(text.front()));
            text.remove_prefix(1);
        }
    }
    return out;
}

std::uint32_t system_ansi_code_page() noexcept
{
    return code_page_1252;
}

std::uint32_t thread_ansi_code_page() noexcept
{
    return system_ansi_code_page(); // the locale is one for all threads
}

} // namespace winapi::codec
