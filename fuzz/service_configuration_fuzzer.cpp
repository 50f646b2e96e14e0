#include "service/configuration/configuration.h"
#include "service/configuration/configuration_file.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

/// Reads the options of the service from a configuration file, and from an environment if the input contains a zero
/// byte: ahead of it are lines "VARIABLE=VALUE". Anything but values and documented problems is a failure. Options that
/// could be read are the same when they are read from their printed form. If the five low bits of the first byte are
/// not zero, the file is read without its options.
namespace {

void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

/// A file that is removed when the process ends.
class input_file
{
public:
    input_file()
        : path_((std::filesystem::temp_directory_path() / ("fuzz-" + std::to_string(std::random_device()()))).string())
    {}
    input_file(const input_file&) = delete;
    input_file& operator=(const input_file&) = delete;
    ~input_file() { std::remove(path_.c_str()); }

    void write(std::string_view text) const
    {
        std::ofstream(path_, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
    }
    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

std::optional<std::string> variable_in(std::string_view lines, const std::string& name)
{
    for (const std::string& heading : {name + "=", "\n" + name + "="}) {
        const std::size_t at = lines.find(heading);
        if (at == std::string_view::npos || (heading[0] != '\n' && at != 0)) {
            continue;
        }
        const std::string_view value = lines.substr(at + heading.size());
        return std::string(value.substr(0, value.find('\n')));
    }
    return std::nullopt;
}

std::optional<service::configuration> read(const input_file& file, std::string_view environment)
{
    const service::configuration_reader reader(
        {"--config=" + file.path()}, [environment](const std::string& name) { return variable_in(environment, name); });
    try {
        return reader.read();
    } catch (const service::configuration_error& refused) {
        require(!refused.problems().empty(), "refused without a problem");
        return std::nullopt;
    }
}

/// Verifies the values, but not those that name files of this machine.
void check_values(const service::configuration& made)
{
    service::command_line values;
    values.server.uri = made.values.server.uri;
    values.server.engines = made.values.server.engines;
    (void)service::check(values);
}

const service::setting* find(const service::configuration& made, const std::string& name)
{
    const auto found = std::find_if(made.settings.begin(), made.settings.end(),
                                    [&](const service::setting& one) { return one.name == name; });
    return found == made.settings.end() ? nullptr : &*found;
}

void read_printed(const service::configuration& made, const input_file& file)
{
    const std::string text = service::printed(made);
    file.write(text);
    const auto again = read(file, {});
    require(again.has_value(), "the printed form cannot be read");
    for (const service::setting& one : made.settings) {
        const bool shown =
            text.starts_with(one.name + " = ") || text.find("\n" + one.name + " = ") != std::string::npos;
        const service::setting* const other = find(*again, one.name);
        require(other != nullptr, "an option has gone");
        // An effective value may be printed for an option without one.
        require(!shown || one.values.empty() || other->values == one.values, "a printed value is another one");
    }
}

/// Each entry is the same when it is read from its form in a file.
void check_entries(const service::file_contents& contents)
{
    for (const service::file_entry& entry : contents.entries) {
        require(!entry.values.empty() && entry.line != 0, "an entry without a value or a line");
        for (const std::string& value : entry.values) {
            const std::string form = service::value_in_file(value);
            if (form.empty()) {
                continue;
            }
            const service::file_contents again = service::parse_configuration("key = " + form + " # note", "again");
            require(again.problems.empty() && again.entries.size() == 1, "a value in its own form is a problem");
            require(again.entries.front().values == std::vector{value}, "a value in its own form is another one");
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const input_file file;
    if (size == 0) {
        return 0;
    }
    const std::string_view input(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::size_t end = input.find('\0');
    const std::string_view environment = end == std::string_view::npos ? std::string_view() : input.substr(0, end);
    const std::string_view text = end == std::string_view::npos ? input : input.substr(end + 1);

    check_entries(service::parse_configuration(text, "name"));
    // The options take a thousand times as long as the file.
    constexpr std::uint8_t whole_mask = 0x1F;
    if ((data[0] & whole_mask) != 0) {
        return 0;
    }
    file.write(text);
    if (const auto made = read(file, environment)) {
        check_values(*made);
        read_printed(*made, file);
    }
    return 0;
}
