#include "mail/mime/text/charset_text.h"

#include "mail/mime/text/charset_names.h"
#include "tool/system/conversions.h"
#include "tool/system/iconv_posix.h"

#include <gmime/gmime.h>

namespace host {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

winapi::iconv_converter from_charset(const char* charset)
{
    return winapi::iconv_converter(g_mime_iconv_open("UTF-8", charset));
}

std::string convert(winapi::iconv_converter& converter, std::string_view text)
{
    using stop = winapi::iconv_converter::stop;
    std::string result;
    for (stop reason = converter.run(text, result); reason != stop::at_end; reason = converter.run(text, result)) {
        result.append(replacement);
        text.remove_prefix(reason == stop::cut_short ? text.size() : 1);
    }
    converter.finish(result);
    return result;
}

} // namespace

std::string to_utf8(std::string_view text, const std::string& charset)
{
    const bool is_utf8 = g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
    if (!charset.empty() && code_page_of(charset) != winapi::code_page_utf8) {
        if (auto known = from_charset(charset.c_str()); known) {
            return convert(known, text);
        }
    }
    if (is_utf8) {
        return std::string(text);
    }
    auto fallback = from_charset(code_page_of(charset) == winapi::code_page_utf8 ? "UTF-8" : "windows-1252");
    return fallback ? convert(fallback, text) : std::string(text);
}

std::wstring to_wide(std::string_view utf8)
{
    return winapi::conv_to_wide(utf8, winapi::code_page_utf8);
}

std::wstring to_wide(const char* utf8)
{
    return utf8 ? to_wide(std::string_view(utf8)) : std::wstring();
}

} // namespace host
