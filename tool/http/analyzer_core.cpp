#include "tool/http/analyzer_core.h"

#include "tool/http/grammar_rules.h"
#include "tool/system/conversions.h"

#include <stdexcept>

namespace http {

namespace {

/// Returns true for a parse that failed before the end of the data.
[[nodiscard]] bool gave_up(bool hit, const char* stop, const char* end) noexcept
{
    return !hit && stop != end;
}

} // namespace

head_status request_test(const request_data& record, const parse_info& parsed, const char* begin, const char* end,
                         known_method_test known_method) noexcept
{
    if (parsed.hit) {
        return head_status::complete;
    }
    if (record.method.empty() && known_method(begin, end)) {
        return head_status::partial;
    }
    const char* stop = parsed.stop;
    if (stop == begin || record.method.empty()) {
        return head_status::invalid;
    }
    if (record.uri.empty()) {
        if (stop == end) {
            return head_status::partial;
        }
        if (!rules::gap(stop, end)) {
            return head_status::invalid;
        }
        if (stop != end) {
            const bool hit = rules::word(stop, end) && rules::gap(stop, end);
            if (gave_up(hit, stop, end)) {
                return head_status::invalid;
            }
        }
    }
    if (stop != end && record.version.empty() && !record.protocol.empty()) {
        const bool hit =
            rules::literal(stop, end, record.protocol) && rules::literal(stop, end, "/") && rules::word(stop, end);
        if (gave_up(hit, stop, end)) {
            return head_status::invalid;
        }
    }
    const bool line_ended_early = !record.uri.empty() && record.version.empty() && record.protocol.empty() &&
                                  stop != end && (*stop == '\r' || *stop == '\n');
    return line_ended_early ? head_status::invalid : head_status::partial;
}

head_status response_test(const response_data& record, const parse_info& parsed, const char* begin,
                          const char* end) noexcept
{
    // A longer start than "ICAP/" without a version behind it cannot become a head.
    constexpr std::ptrdiff_t longest_start = 5;
    if (parsed.hit) {
        return head_status::complete;
    }
    if (parsed.stop == begin) {
        return head_status::invalid;
    }
    if (!record.version.empty()) {
        return head_status::partial;
    }
    if (parsed.stop - begin > longest_start) {
        return head_status::invalid;
    }
    return parsed.stop == end ? head_status::partial : head_status::invalid;
}

bool begins_word(const char* begin, const char* end, std::span<const std::string_view> words) noexcept
{
    const std::string_view text(begin, static_cast<std::size_t>(end - begin));
    if (text.empty()) {
        return false;
    }
    for (const std::string_view word : words) {
        if (text.size() < word.size() && winapi::compare_no_case(text, word.substr(0, text.size())) == 0) {
            return true;
        }
    }
    return false;
}

const char* skip_line_ends(const char* begin, const char* end) noexcept
{
    const char* at = begin;
    while (rules::eol(at, end)) {
        begin = at;
    }
    return begin;
}

void raise_reversed_enqueue()
{
    throw std::runtime_error("icap analyzer::enqueue: invalid range [beg, end)");
}

} // namespace http
