#include "logging/configuration.h"

#include "tool/system/conversions.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <stdexcept>

namespace logging {

namespace {

constexpr std::size_t most_kept_files = 1000;

[[noreturn]] void refuse(std::wstring_view part, const char* reason)
{
    std::string named = winapi::conv_to_char(part, winapi::code_page_utf8);
    std::replace(named.begin(), named.end(), '\0', '?'); // the text of an exception would end there
    throw std::invalid_argument("logging configuration: \"" + named + "\": " + reason);
}

bool is_blank(wchar_t letter) noexcept
{
    return letter == L' ' || letter == L'\t' || letter == L'\r' || letter == L'\n';
}

std::wstring_view trimmed(std::wstring_view text) noexcept
{
    while (!text.empty() && is_blank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && is_blank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::wstring folded(std::wstring_view text)
{
    std::wstring lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](wchar_t letter) {
        return letter >= L'A' && letter <= L'Z' ? static_cast<wchar_t>(letter + (L'a' - L'A')) : letter;
    });
    return lower;
}

/// Splits the text at each separator that is not between double quotes. `whole` is the text that an error message
/// names.
std::vector<std::wstring_view> split(std::wstring_view text, wchar_t separator)
{
    std::vector<std::wstring_view> parts;
    bool quoted = false;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == L'"') {
            quoted = !quoted;
        } else if (text[i] == separator && !quoted) {
            parts.push_back(trimmed(text.substr(start, i - start)));
            start = i + 1;
        }
    }
    if (quoted) {
        refuse(trimmed(text.substr(start)), "a double quote is left open");
    }
    parts.push_back(trimmed(text.substr(start)));
    return parts;
}

/// NAME=VALUE, or NAME alone.
struct assignment
{
    std::wstring name;
    std::optional<std::wstring_view> value;
};

assignment split_assignment(std::wstring_view part)
{
    const std::size_t equals = part.find(L'=');
    if (equals == std::wstring_view::npos) {
        return {folded(part), std::nullopt};
    }
    return {folded(trimmed(part.substr(0, equals))), trimmed(part.substr(equals + 1))};
}

std::optional<std::size_t> to_number(std::wstring_view digits) noexcept
{
    if (digits.empty()) {
        return std::nullopt;
    }
    std::size_t number = 0;
    for (const wchar_t digit : digits) {
        if (digit < L'0' || digit > L'9') {
            return std::nullopt;
        }
        const auto unit = static_cast<std::size_t>(digit - L'0');
        if (number > (std::numeric_limits<std::size_t>::max() - unit) / 10U) {
            return std::nullopt;
        }
        number = number * 10U + unit;
    }
    return number;
}

priority::level_type read_level(std::wstring_view part, const assignment& item)
{
    const auto number = item.value ? to_number(*item.value) : std::nullopt;
    if (!number || *number >= priority::off) {
        refuse(part, "a level is a number from 0 to 599");
    }
    return static_cast<priority::level_type>(*number);
}

std::string read_logger_name(std::wstring_view part, std::wstring_view name)
{
    const auto fits = [](wchar_t letter) {
        return (letter >= L'a' && letter <= L'z') || (letter >= L'0' && letter <= L'9') || letter == L'_' ||
               letter == L'-' || letter == L'.';
    };
    if (name.empty() || !std::all_of(name.begin(), name.end(), fits)) {
        refuse(part, "the name of a logger is missing or is none");
    }
    return std::string(name.begin(), name.end());
}

std::wstring read_path(std::wstring_view part, std::wstring_view text)
{
    if (text.size() >= 2 && text.front() == L'"' && text.back() == L'"') {
        text = text.substr(1, text.size() - 2);
    }
    if (text.empty() || text.find(L'"') != std::wstring_view::npos || text.find(L'\0') != std::wstring_view::npos) {
        refuse(part, "the path of the file is missing or is none");
    }
    return std::wstring(text);
}

/// Reads a count of bytes: digits, optionally followed by K, M or G.
std::optional<std::size_t> read_size(std::wstring_view text) noexcept
{
    unsigned shift = 0;
    if (!text.empty()) {
        const wchar_t unit = text.back();
        shift = unit == L'k' || unit == L'K'   ? 10
                : unit == L'm' || unit == L'M' ? 20
                : unit == L'g' || unit == L'G' ? 30
                                               : 0;
    }
    if (shift != 0) {
        text.remove_suffix(1);
    }
    const auto number = to_number(text);
    if (!number || *number == 0 || *number > (std::numeric_limits<std::size_t>::max() >> shift)) {
        return std::nullopt;
    }
    return *number << shift;
}

void read_file_option(std::wstring_view option, file_target& file)
{
    const assignment item = split_assignment(option);
    if (item.name == L"size") {
        const auto size = item.value ? read_size(*item.value) : std::nullopt;
        if (!size) {
            refuse(option, "a size is a number of bytes over 0, with K, M or G behind it if wanted");
        }
        file.size = *size;
    } else if (item.name == L"count") {
        const auto count = item.value ? to_number(*item.value) : std::nullopt;
        if (!count || *count > most_kept_files) {
            refuse(option, "a count is a number from 0 to 1000");
        }
        file.count = *count;
    } else {
        refuse(option, "a file has the options size and count");
    }
}

file_target read_file(std::wstring_view part, std::wstring_view value)
{
    const auto pieces = split(value, L',');
    file_target file;
    file.path = read_path(part, pieces.front());
    for (auto piece = pieces.begin() + 1; piece != pieces.end(); ++piece) {
        read_file_option(*piece, file);
    }
    return file;
}

/// The configuration read so far, and the parts that must not occur twice.
class reader
{
public:
    void take(std::wstring_view part)
    {
        const assignment item = split_assignment(part);
        if (item.name == L"level") {
            if (general_) {
                refuse(part, "the level is set twice");
            }
            general_ = read_level(part, item);
        } else if (item.name.starts_with(L"level.")) {
            const std::string name = read_logger_name(part, std::wstring_view(item.name).substr(6));
            if (!result_.levels.by_logger.emplace(name, read_level(part, item)).second) {
                refuse(part, "the level of this logger is set twice");
            }
        } else if (item.name == L"file" && item.value) {
            add(part, read_file(part, *item.value));
        } else if (item.name == L"stderr" && !item.value) {
            add(part, stderr_target{});
        } else if (item.name == L"debugger" && !item.value) {
            add(part, debugger_target{});
        } else {
            refuse(part, "expected level=N, level.LOGGER=N, file=PATH, stderr or debugger");
        }
    }

    [[nodiscard]] configuration finish()
    {
        result_.levels.general = general_.value_or(configuration::default_level);
        return std::move(result_);
    }

private:
    void add(std::wstring_view part, sink_target target)
    {
        const auto same = [&target](const sink_target& other) {
            const auto* const file = std::get_if<file_target>(&target);
            const auto* const other_file = std::get_if<file_target>(&other);
            return file != nullptr && other_file != nullptr ? folded(file->path) == folded(other_file->path)
                                                            : target.index() == other.index();
        };
        if (std::any_of(result_.targets.begin(), result_.targets.end(), same)) {
            refuse(part, "this destination is named twice");
        }
        result_.targets.push_back(std::move(target));
    }

    configuration result_;
    std::optional<priority::level_type> general_;
};

} // namespace

priority::level_type thresholds::of(std::string_view logger_name) const
{
    const auto found = by_logger.find(logger_name);
    return found == by_logger.end() ? general : found->second;
}

priority::level_type thresholds::highest() const
{
    priority::level_type level = general;
    for (const auto& entry : by_logger) {
        level = std::max(level, entry.second);
    }
    return level;
}

configuration parse_configuration(std::wstring_view text)
{
    reader items;
    for (const std::wstring_view part : split(text, L';')) {
        if (!part.empty()) {
            items.take(part);
        }
    }
    return items.finish();
}

} // namespace logging
