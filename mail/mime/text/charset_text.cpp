#include "mail/mime/text/charset_text.h"

#include "mail/mime/text/charset_names.h"
#include "tool/system/ascii.h"
#include "tool/system/conversions.h"
#include "tool/system/iconv_posix.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace host {

namespace {

using winapi::iconv_converter;

constexpr std::string_view replacement = "\xEF\xBF\xBD";
constexpr std::size_t block_size = 65536;

/// Converts one text to UTF-8, piece by piece.
class to_utf8_conversion
{
public:
    explicit to_utf8_conversion(const std::string& converter)
        : converter_(::iconv_open("UTF-8", converter.c_str()))
    {}

    /// False if the system has no such conversion.
    explicit operator bool() const noexcept { return static_cast<bool>(converter_); }

    /// Returns true if everything was valid so far.
    [[nodiscard]] bool valid() const noexcept { return valid_; }

    /// Appends what a further piece of the text yields. A character that it leaves incomplete is kept for the next one.
    void add(std::string_view piece, std::string& out)
    {
        std::string joined;
        if (!rest_.empty()) {
            joined = rest_.append(piece);
            piece = joined;
            rest_.clear();
        }
        for (auto reason = converter_.run(piece, out); reason != iconv_converter::stop::at_end;
             reason = converter_.run(piece, out)) {
            if (reason == iconv_converter::stop::cut_short) {
                rest_ = piece;
                return;
            }
            replace(out);
            piece.remove_prefix(1);
        }
    }

    /// Appends what the end of the text yields.
    void finish(std::string& out)
    {
        if (!rest_.empty()) {
            replace(out);
        }
        converter_.finish(out);
    }

private:
    void replace(std::string& out)
    {
        valid_ = false;
        out.append(replacement);
    }

    iconv_converter converter_;
    std::string rest_;
    bool valid_ = true;
};

/// Calls `use` with the text in pieces.
template <typename Use>
void for_each_piece(const bytes& text, Use&& use)
{
    std::string block(block_size, '\0');
    for (std::uint64_t offset = 0;;) {
        const std::size_t got = text.read(offset, block.data(), block.size());
        if (got == 0) {
            return;
        }
        offset += got;
        use(std::string_view(block).substr(0, got));
    }
}

template <typename Use>
void for_each_piece(std::string_view text, Use&& use)
{
    use(text);
}

template <typename Text>
bool is_utf8(const Text& text)
{
    to_utf8_conversion check("UTF-8");
    std::string unused;
    for_each_piece(text, [&](std::string_view piece) {
        unused.clear();
        check.add(piece, unused);
    });
    check.finish(unused);
    return check.valid();
}

/// Returns the name by which the system's converters may know a character set; empty if it cannot be such a name.
std::string converter_name(const std::string& name)
{
    if (const charset* const known = find_charset(name)) {
        return std::string(known->converter);
    }
    const bool is_name = std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= '0' && c <= '9') || (winapi::ascii_lower(c) >= 'a' && winapi::ascii_lower(c) <= 'z') || c == '-' ||
               c == '_' || c == '.' || c == ':';
    });
    return is_name ? name : std::string();
}

template <typename Text>
void convert(const Text& text, const std::string& charset, const std::function<void(std::string_view)>& sink)
{
    const auto run = [&](to_utf8_conversion& conversion) {
        std::string out;
        for_each_piece(text, [&](std::string_view piece) {
            out.clear();
            conversion.add(piece, out);
            sink(out);
        });
        out.clear();
        conversion.finish(out);
        sink(out);
    };
    if (const std::string name = converter_name(charset); !name.empty()) {
        if (to_utf8_conversion known(name); known) {
            run(known);
            return;
        }
    }
    to_utf8_conversion fallback(is_utf8(text) ? "UTF-8" : "CP1252");
    run(fallback);
}

} // namespace

std::string to_utf8(std::string_view text, const std::string& charset)
{
    std::string result;
    convert(text, charset, [&](std::string_view piece) { result.append(piece); });
    return result;
}

void to_utf8(const bytes& text, const std::string& charset, const std::function<void(std::string_view)>& sink)
{
    convert(text, charset, sink);
}

std::string headers_to_utf8(std::string_view headers)
{
    std::string result;
    while (!headers.empty()) {
        std::size_t end = headers.find('\n');
        while (end != std::string_view::npos && end + 1 < headers.size() &&
               (headers[end + 1] == ' ' || headers[end + 1] == '\t')) {
            end = headers.find('\n', end + 1);
        }
        const std::size_t size = end == std::string_view::npos ? headers.size() : end + 1;
        const std::string_view field = headers.substr(0, size);
        const bool plain =
            std::all_of(field.begin(), field.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
        result.append(plain ? std::string(field) : to_utf8(field, {}));
        headers.remove_prefix(size);
    }
    return result;
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
