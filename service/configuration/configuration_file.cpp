#include "service/configuration/configuration_file.h"

#include "service/safe_text.h"
#include "tool/system/ascii.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>

namespace service {

namespace {

constexpr std::size_t largest_file = std::size_t{1} << 20U;
constexpr std::string_view blanks = " \t\r";
constexpr std::string_view quotes = "\"'";
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

/// One key with its values, without comments and without blanks outside of quotes.
struct entry_text
{
    std::string text;
    std::size_t line = 0;
    bool in_array = false; ///< the end of the array has not been read
    bool is_array = false;
    const char* problem = nullptr;
};

/// Appends a line to an entry, up to its comment.
void append_line(entry_text& entry, std::string_view line)
{
    char quote = 0;
    char last = 0;
    bool blank_before = false;
    for (const char byte : line) {
        if (quote != 0) {
            if (byte == quote) {
                entry.problem = last == '\\' ? "a backslash before a quote is not supported" : entry.problem;
                quote = 0;
            }
            entry.text += byte;
        } else if (byte == '#') {
            break;
        } else if (blanks.find(byte) != std::string_view::npos) {
            blank_before = true;
            continue;
        } else {
            const bool behind_value = blank_before && !entry.text.empty() && last != 0 && last != '=' && byte != '=';
            if (behind_value && last != ',' && last != '[' && byte != ',' && byte != ']') {
                entry.problem = "a value with blanks needs quotes";
            }
            if (byte == '[' && last == '=') {
                entry.is_array = entry.in_array = true;
            } else if (byte == ']' && entry.in_array) {
                entry.in_array = false;
            } else if (byte == ',' && !entry.in_array) {
                entry.problem = "a value with commas needs quotes";
            } else if (byte == '`') { // would be a quote within arrays only
                entry.problem = "a value with a grave accent needs quotes";
            } else if (quotes.find(byte) != std::string_view::npos) {
                quote = byte;
            }
            entry.text += byte;
        }
        blank_before = false;
        last = byte;
    }
    if (quote != 0) {
        entry.problem = "a quote is not closed";
    }
}

class configuration_parser
{
public:
    configuration_parser(std::string_view text, const std::string& name)
        : rest_(text)
        , name_(name)
    {}

    file_contents parse();

private:
    bool next_line(std::string_view& line);
    void read_entry(std::string_view line);
    void take(const entry_text& entry);
    void complain(std::size_t line, const std::string& what);

    std::string_view rest_;
    const std::string& name_;
    std::size_t line_ = 0;
    std::map<std::string, std::size_t> lines_; ///< of the keys
    file_contents contents_;
};

bool configuration_parser::next_line(std::string_view& line)
{
    if (rest_.empty()) {
        return false;
    }
    const std::size_t end = rest_.find('\n');
    line = rest_.substr(0, end);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    ++line_;
    return true;
}

file_contents configuration_parser::parse()
{
    if (rest_.starts_with(byte_order_mark)) {
        rest_.remove_prefix(byte_order_mark.size());
    }
    std::string_view line;
    while (next_line(line)) {
        line = winapi::trimmed(line, blanks);
        if (!line.empty() && line.front() != '#' && line.front() != ';') {
            read_entry(line);
        }
    }
    return std::move(contents_);
}

void configuration_parser::read_entry(std::string_view line)
{
    entry_text entry;
    entry.line = line_;
    append_line(entry, line);
    while (entry.in_array && entry.problem == nullptr && next_line(line)) {
        append_line(entry, line);
    }
    if (entry.text.find('\0') != std::string::npos) {
        entry.problem = "a zero byte is not supported";
    } else if (entry.text.starts_with('[')) {
        entry.problem = "sections are not supported";
    } else if (entry.problem == nullptr && entry.in_array) {
        entry.problem = "the array is not closed";
    } else if (entry.problem == nullptr && entry.is_array && !entry.text.ends_with(']')) {
        entry.problem = "something follows the array";
    }
    if (entry.problem != nullptr) {
        complain(entry.line, entry.problem);
    } else {
        take(entry);
    }
}

void configuration_parser::take(const entry_text& entry)
{
    const std::size_t sign = entry.text.find('=');
    if (sign == 0 || sign == std::string::npos) {
        complain(entry.line, "KEY = VALUE is expected");
        return;
    }
    CLI::ConfigBase reader;
    reader.comment('\0'); // comments have been removed; the reader would find them within quotes too
    std::istringstream input(entry.text + "\n");
    const std::vector<CLI::ConfigItem> items = reader.from_config(input);
    if (items.size() != 1 || items.front().inputs.empty() || sign + 1 == entry.text.size()) {
        complain(entry.line, "the key has no value");
        return;
    }
    const std::string key = items.front().fullname();
    const auto [known, added] = lines_.emplace(key, entry.line);
    if (!added) {
        complain(entry.line,
                 "'" + display_text(key) + "' was specified in line " + std::to_string(known->second) + " already");
        return;
    }
    contents_.entries.push_back({key, items.front().inputs, entry.line});
}

void configuration_parser::complain(std::size_t line, const std::string& what)
{
    contents_.problems.push_back(name_ + ":" + std::to_string(line) + ": " + what);
}

file_contents unreadable(const std::string& name, const std::string& why)
{
    return {{}, {name + ": " + why}};
}

} // namespace

file_contents parse_configuration(std::string_view text, const std::string& name)
{
    return configuration_parser(text, name).parse();
}

file_contents read_configuration_file(const std::string& name)
{
    std::error_code ignored;
    if (std::filesystem::is_directory(name, ignored)) {
        return unreadable(name, "is a folder");
    }
    errno = 0;
    std::ifstream input(name, std::ios::binary);
    if (!input) {
        return unreadable(name, "cannot be read: " + std::generic_category().message(errno));
    }
    std::string text(largest_file + 1, '\0');
    input.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(input.gcount()));
    if (input.bad()) {
        return unreadable(name, "cannot be read");
    }
    if (text.size() > largest_file) {
        return unreadable(name, "is too large");
    }
    return parse_configuration(text, name);
}

std::string value_in_file(std::string_view value)
{
    const bool bare = !value.empty() && value.find_first_not_of("0123456789.") == std::string_view::npos;
    if (bare || value == "true" || value == "false") {
        return std::string(value);
    }
    if (value.find_first_of(std::string_view("\n\r\0", 3)) == std::string_view::npos && !value.ends_with('\\')) {
        for (const char quote : quotes) {
            if (value.find(quote) == std::string_view::npos) {
                return quote + std::string(value) + quote;
            }
        }
    }
    return {};
}

} // namespace service
