#include "tool/icap/reply_readers.h"

#include "logging/logging.h"
#include "tool/icap/infection_tokens.h"
#include "tool/icap/white_space.h"
#include "tool/system/ascii.h"

#include <limits>

namespace icap {
namespace {

constexpr std::string_view infection_header = "X-Infection-Found";

std::string header_value(message& answer, std::string_view name)
{
    const auto value = answer.headers().get(name);
    return value ? std::string(value->begin(), value->end()) : std::string();
}

} // namespace

std::vector<std::string> detail::split(std::string_view text, std::string_view separators)
{
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t end = text.find_first_of(separators, begin);
        parts.emplace_back(text.substr(begin, end - begin));
        if (end == std::string_view::npos) {
            return parts;
        }
        begin = end + 1;
    }
}

std::string detail::pick_infection_value(const std::vector<std::string>& tokens, std::string_view header,
                                         std::string_view value, std::string_view key)
{
    if (tokens.empty()) {
        LOG_LINE(logging::icap_log(), 300, "in tag '" << header << "' the ';' was missed: " << value);
        return {};
    }
    for (const std::string& token : tokens) {
        LOG_LINE(logging::icap_log(), 500, "infection found(not parsed): '" << token << "'");
        const std::vector<std::string> parts = split(token, "=");
        if (winapi::trimmed(parts.front(), white_space) != key) {
            continue;
        }
        std::string found = parts.size() > 1 ? parts[1] : std::string();
        LOG_LINE(logging::icap_log(), 500, "infection found: " << key << "='" << found << "'");
        return found;
    }
    return {};
}

std::string get_istag(const std::shared_ptr<message>& answer)
{
    return header_value(*answer, "ISTag");
}

std::vector<std::string> get_methods(const std::shared_ptr<message>& answer)
{
    const auto value = answer->headers().get("Methods");
    if (!value) {
        return {};
    }
    return detail::split(std::string_view(value->data(), value->size()), ", ");
}

std::uint32_t get_preview(const std::shared_ptr<message>& answer)
{
    return static_cast<std::uint32_t>(leading_number(header_value(*answer, "Preview")));
}

std::string get_infection_param(const std::shared_ptr<message>& answer, std::string_view key)
{
    const std::string value = header_value(*answer, infection_header);
    if (value.empty()) {
        LOG_LINE(logging::icap_log(), 300, "tag '" << infection_header << "' was not found");
        return {};
    }
    return detail::pick_infection_value(detail::split(value, ";"), infection_header, value, key);
}

std::int32_t leading_number(std::string_view text) noexcept
{
    text = winapi::trimmed_left(text, white_space);
    bool negative = false;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    using limits = std::numeric_limits<std::int32_t>;
    std::int64_t number = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') {
            break;
        }
        number = number * 10 + (c - '0');
        if (number > limits::max()) {
            if (!negative) {
                return limits::max();
            }
            if (-number <= limits::min()) {
                return limits::min();
            }
        }
    }
    return static_cast<std::int32_t>(negative ? -number : number);
}

} // namespace icap
