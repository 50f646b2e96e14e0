#include "mail/files/mailbox.h"

#include "mail/files/path_text.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace host {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view envelope = "From ";
constexpr std::string_view compound_file = "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1";
constexpr std::uint64_t kept_in_memory = 1U << 20U;

bool ends_in(const fs::path& file, std::string_view extension)
{
    return winapi::compare_no_case(text_of_path(file.extension()), extension) == 0;
}

bool ends_like_mbox(const fs::path& file)
{
    return ends_in(file, ".mbox") || ends_in(file, ".mbx");
}

/// Reads a file line by line and records the offset of each line.
class line_reader
{
public:
    line_reader(const fs::path& file, std::uint64_t offset)
        : input_(file, std::ios::binary)
        , next_(offset)
    {
        if (!input_) {
            throw std::runtime_error("the file cannot be opened");
        }
        input_.seekg(static_cast<std::streamoff>(offset));
    }
    /// Reads the next line including its line end. Returns false at the end.
    bool read(std::string& line)
    {
        start_ = next_;
        if (!std::getline(input_, line)) {
            return false;
        }
        if (!input_.eof()) {
            line.push_back('\n');
        }
        next_ += line.size();
        return true;
    }
    [[nodiscard]] std::uint64_t start() const noexcept { return start_; }
    [[nodiscard]] std::uint64_t next() const noexcept { return next_; }

private:
    std::ifstream input_;
    std::uint64_t start_ = 0;
    std::uint64_t next_;
};

bool is_blank(std::string_view line)
{
    return line == "\n" || line == "\r\n";
}

/// Returns the messages of an mbox. Each begins after an envelope line that is the first line or follows a blank line.
std::vector<message_place> split_mbox(const fs::path& file)
{
    std::vector<message_place> found;
    line_reader reader(file, 0);
    std::string line;
    bool may_begin = true;
    while (reader.read(line)) {
        if (may_begin && line.starts_with(envelope)) {
            if (!found.empty()) {
                found.back().size = reader.start() - found.back().offset;
            }
            found.push_back({file, reader.next(), 0, found.size() + 1});
        }
        may_begin = is_blank(line);
    }
    if (!found.empty()) {
        found.back().size = reader.next() - found.back().offset;
    }
    return found;
}

bool begins_with(const fs::path& file, std::string_view expected)
{
    std::ifstream input(file, std::ios::binary);
    std::string start(expected.size(), '\0');
    input.read(start.data(), static_cast<std::streamsize>(start.size()));
    return input && start == expected;
}

/// An mbox that cannot be opened counts as one message, so that its reader reports the reason and the other files of
/// the folder are still read.
std::vector<message_place> messages_of_file(const fs::path& file)
{
    const bool opens = static_cast<bool>(std::ifstream(file, std::ios::binary));
    if (opens && (ends_like_mbox(file) || begins_with(file, envelope))) {
        auto found = split_mbox(file);
        if (found.size() > 1 || (ends_like_mbox(file) && !found.empty())) {
            return found;
        }
    }
    message_place whole;
    whole.file = file;
    return {whole};
}

std::vector<fs::path> files_of_folder(const fs::path& folder)
{
    std::error_code problem;
    fs::directory_iterator entries(folder, problem);
    if (problem) {
        throw std::runtime_error("the folder cannot be read: " + problem.message());
    }
    std::vector<fs::path> files;
    for (const auto& entry : entries) {
        const fs::path& file = entry.path();
        const bool wanted = ends_in(file, ".eml") || ends_in(file, ".msg") || ends_like_mbox(file);
        std::error_code ignored;
        const fs::file_status status = entry.status(ignored);
        // Reading a pipe could block forever. A dangling link is reported when it is read.
        if (wanted && (fs::is_regular_file(status) || !fs::exists(status))) {
            files.push_back(file);
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Returns true for a line that begins like an envelope line after one or more ">". An mbox stores such lines with an
/// additional ">".
bool is_quoted(std::string_view line)
{
    const std::size_t text = line.find_first_not_of('>');
    return text != 0 && text != std::string_view::npos && line.substr(text).starts_with(envelope);
}

bytes_ptr open_mbox_message(const message_place& place)
{
    line_reader reader(place.file, place.offset);
    scratch text;
    std::string line;
    while (reader.next() < place.offset + place.size && reader.read(line)) {
        text.append(is_quoted(line) ? std::string_view(line).substr(1) : std::string_view(line));
    }
    return text.freeze();
}

} // namespace

std::string message_place::name() const
{
    return number == 0 ? text_of_path(file) : text_of_path(file) + "#" + std::to_string(number);
}

std::vector<message_place> find_messages(const fs::path& path)
{
    std::error_code problem;
    const auto status = fs::status(path, problem);
    if (!fs::exists(status)) {
        throw std::runtime_error(problem && problem != std::errc::no_such_file_or_directory
                                     ? problem.message()
                                     : "there is no such file or folder");
    }
    if (!fs::is_directory(status)) {
        return messages_of_file(path);
    }
    std::vector<message_place> found;
    for (const auto& file : files_of_folder(path)) {
        const auto more = messages_of_file(file);
        found.insert(found.end(), more.begin(), more.end());
    }
    if (found.empty()) {
        throw std::runtime_error("the folder holds no .eml, .msg or .mbox file");
    }
    return found;
}

mail_format format_of(const message_place& place)
{
    const bool outlook = place.number == 0 && (begins_with(place.file, compound_file) || ends_in(place.file, ".msg"));
    return outlook ? mail_format::msg : mail_format::eml;
}

bytes_ptr open_message(const message_place& place)
{
    if (place.number != 0) {
        return open_mbox_message(place);
    }
    bytes_ptr file = bytes_of_file(place.file);
    return file->size() <= kept_in_memory ? bytes_of(to_string(*file)) : file;
}

} // namespace host
