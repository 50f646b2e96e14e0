#include "mail/mime/reading/encoded_words.h"

#include "mail/mime/text/property_text.h"
#include "tool/system/base64.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <optional>

namespace host {

namespace {

/// "=?CHARSET?B?TEXT?=" at the beginning of a text.
struct base64_word
{
    std::string_view charset;
    std::string_view text;
    std::size_t size = 0; ///< of the whole word
};

bool is_blank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

/// Searches only up to the next "?" that ends a component, so that a text with many word beginnings is scanned once.
std::optional<base64_word> word_at(std::string_view value)
{
    constexpr std::string_view start = "=?";
    constexpr std::string_view end = "?=";
    if (!value.starts_with(start)) {
        return std::nullopt;
    }
    const std::size_t mark = value.find('?', start.size());
    if (mark == std::string_view::npos || mark == start.size() || value.size() - mark < 3 ||
        (value[mark + 1] != 'B' && value[mark + 1] != 'b') || value[mark + 2] != '?') {
        return std::nullopt;
    }
    const std::string_view charset = value.substr(start.size(), mark - start.size());
    const std::size_t text = mark + 3;
    const std::size_t close = std::min(value.find('?', text), value.size());
    const std::string_view inside = value.substr(text, close - text);
    if (!value.substr(close).starts_with(end) || std::any_of(charset.begin(), charset.end(), is_blank) ||
        std::any_of(inside.begin(), inside.end(), is_blank)) {
        return std::nullopt;
    }
    return base64_word{charset, inside, close + end.size()};
}

} // namespace

std::string join_encoded_words(std::string_view value)
{
    std::string result;
    while (!value.empty()) {
        const std::size_t start = std::min(value.find("=?"), value.size());
        result += value.substr(0, start);
        value.remove_prefix(start);
        const auto first = word_at(value);
        if (!first) {
            result += value.substr(0, 1);
            value.remove_prefix(std::min<std::size_t>(value.size(), 1));
            continue;
        }
        std::string bytes = lenient_base64(first->text);
        std::size_t size = first->size;
        bool several = false;
        while (true) {
            const auto* const next =
                std::find_if_not(value.begin() + static_cast<std::ptrdiff_t>(size), value.end(), is_blank);
            const auto at = static_cast<std::size_t>(next - value.begin());
            const auto word = at == size ? std::nullopt : word_at(value.substr(at));
            if (!word || winapi::compare_no_case(word->charset, first->charset) != 0) {
                break;
            }
            bytes += lenient_base64(word->text);
            size = at + word->size;
            several = true;
        }
        if (several) {
            result.append("=?").append(first->charset).append("?B?").append(winapi::base64::encode(bytes)).append("?=");
        } else {
            result += value.substr(0, size);
        }
        value.remove_prefix(size);
    }
    return result;
}

void join_encoded_words(GMimeObject* object)
{
    GMimeHeaderList* headers = g_mime_object_get_header_list(object);
    const int count = g_mime_header_list_get_count(headers);
    for (int i = 0; i < count; ++i) {
        GMimeHeader* header = g_mime_header_list_get_header_at(headers, i);
        const std::string value = text_of(g_mime_header_get_raw_value(header));
        if (std::string joined = join_encoded_words(value); joined != value) {
            g_mime_header_set_raw_value(header, joined.c_str());
        }
    }
}

} // namespace host
