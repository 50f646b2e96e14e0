#include "mail/mime/text/charset_text.h"

#include "mail/mime/text/charset_names.h"
#include "tool/system/conversions.h"

#include <gmime/gmime.h>

#include <array>
#include <cerrno>

namespace host {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

/// Closes a converter at the end of its scope.
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
        std::string input(text); // the interface takes a non-const pointer
        char* next = input.data();
        std::size_t left = input.size();
        std::array<char, 4096> block{};
        while (true) {
            char* out = block.data();
            std::size_t room = block.size();
            const bool at_end = left == 0; // the last call writes the converter's pending output
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
                if (reason == EINVAL) { // truncated in the middle of a character
                    left = 0;
                }
            }
        }
    }

private:
    iconv_t handle_;
};

} // namespace

std::string to_utf8(std::string_view text, const std::string& charset)
{
    const bool is_utf8 = g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE;
    if (!charset.empty() && code_page_of(charset) != winapi::code_page_utf8) {
        if (const converter known(charset.c_str()); known) {
            return known.convert(text);
        }
    }
    if (is_utf8) {
        return std::string(text);
    }
    const converter fallback(code_page_of(charset) == winapi::code_page_utf8 ? "UTF-8" : "windows-1252");
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
