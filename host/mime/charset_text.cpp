#include "host/mime/charset_text.h"

#include "tool/system/conversions.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace host {

namespace {

using named_page = std::pair<std::string_view, std::uint32_t>;

constexpr std::array code_pages{
    named_page{"utf-8", 65001},       named_page{"utf8", 65001},         named_page{"utf-7", 65000},
    named_page{"utf-16", 1200},       named_page{"utf-16le", 1200},      named_page{"utf-16be", 1201},
    named_page{"us-ascii", 20127},    named_page{"ascii", 20127},        named_page{"iso-8859-1", 28591},
    named_page{"latin1", 28591},      named_page{"iso-8859-2", 28592},   named_page{"iso-8859-3", 28593},
    named_page{"iso-8859-4", 28594},  named_page{"iso-8859-5", 28595},   named_page{"iso-8859-6", 28596},
    named_page{"iso-8859-7", 28597},  named_page{"iso-8859-8", 28598},   named_page{"iso-8859-8-i", 38598},
    named_page{"iso-8859-9", 28599},  named_page{"iso-8859-13", 28603},  named_page{"iso-8859-15", 28605},
    named_page{"windows-1250", 1250}, named_page{"windows-1251", 1251},  named_page{"windows-1252", 1252},
    named_page{"windows-1253", 1253}, named_page{"windows-1254", 1254},  named_page{"windows-1255", 1255},
    named_page{"windows-1256", 1256}, named_page{"windows-1257", 1257},  named_page{"windows-1258", 1258},
    named_page{"windows-874", 874},   named_page{"tis-620", 874},        named_page{"koi8-r", 20866},
    named_page{"koi8-u", 21866},      named_page{"ibm866", 866},         named_page{"cp866", 866},
    named_page{"iso-2022-jp", 50220}, named_page{"shift_jis", 932},      named_page{"shift-jis", 932},
    named_page{"euc-jp", 51932},      named_page{"gb2312", 936},         named_page{"gbk", 936},
    named_page{"gb18030", 54936},     named_page{"hz-gb-2312", 52936},   named_page{"big5", 950},
    named_page{"euc-kr", 51949},      named_page{"ks_c_5601-1987", 949}, named_page{"iso-2022-kr", 50225},
    named_page{"macintosh", 10000},
};

constexpr std::string_view replacement = "\xEF\xBF\xBD";

/// Closes a converter with its scope.
class converter
{
public:
    explicit converter(const char* charset)
        : handle_(g_mime_iconv_open("UTF-8", charset))
    {}
    converter(const converter&) = delete;
    converter& operator=(const converter&) = delete;
    ~converter()
    {
        if (*this) {
            g_mime_iconv_close(handle_);
        }
    }
    explicit operator bool() const { return reinterpret_cast<std::intptr_t>(handle_) != -1; }

    std::string convert(std::string_view text) const
    {
        std::string result;
        std::string input(text); // the interface takes a pointer that isn't const
        char* next = input.data();
        std::size_t left = input.size();
        std::array<char, 4096> block{};
        while (true) {
            char* out = block.data();
            std::size_t room = block.size();
            const bool at_end = left == 0; // the last call writes what the converter holds back
            const std::size_t status =
                at_end ? iconv(handle_, nullptr, nullptr, &out, &room) : iconv(handle_, &next, &left, &out, &room);
            const int reason = errno;
            result.append(block.data(), block.size() - room);
            if (at_end) {
                return result;
            }
            if (status == static_cast<std::size_t>(-1) && reason != E2BIG) {
                result.append(replacement);
                ++next;
                --left;
                if (reason == EINVAL) { // cut off in the middle of a character
                    left = 0;
                }
            }
        }
    }

private:
    iconv_t handle_;
};

} // namespace

std::uint32_t code_page_of(std::string_view charset)
{
    std::string name(charset);
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return g_ascii_tolower(c); });
    const auto* const found =
        std::find_if(code_pages.begin(), code_pages.end(), [&](const auto& entry) { return entry.first == name; });
    return found == code_pages.end() ? 0 : found->second;
}

std::string charset_of_page(std::uint32_t code_page)
{
    constexpr std::uint32_t ascii = 20127;
    const auto* const found = std::find_if(code_pages.begin(), code_pages.end(),
                                           [&](const auto& entry) { return entry.second == code_page; });
    return code_page == ascii || found == code_pages.end() ? std::string() : std::string(found->first);
}

std::string to_utf8(std::string_view text, const std::string& charset)
{
    const bool is_utf8 = g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
    if (!charset.empty() && code_page_of(charset) != 65001) {
        if (const converter known(charset.c_str()); known) {
            return known.convert(text);
        }
    }
    if (is_utf8) {
        return std::string(text);
    }
    const converter fallback(code_page_of(charset) == 65001 ? "UTF-8" : "windows-1252");
    return fallback ? fallback.convert(text) : std::string(text);
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
