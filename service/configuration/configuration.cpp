#include "service/configuration/configuration.h"

#include "command/nearest_name.h"
#include "service/configuration/configuration_file.h"
#include "service/safe_text.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <utility>

namespace service {

namespace {

/// The values that one source has for one option.
struct source
{
    std::vector<std::string> values;
    std::string origin;
};

using sources = std::map<std::string, source>; ///< by the name of the option

/// The options of the program and the values of one parse.
class parse
{
public:
    parse() { add_options(app_, values_); }

    /// Throws CLI::ParseError.
    void run(std::vector<std::string> arguments) { parse_arguments(app_, std::move(arguments)); }
    [[nodiscard]] command_line& values() { return values_; }
    /// Returns the options that may come from any source.
    [[nodiscard]] std::vector<const CLI::Option*> options() const
    {
        return std::as_const(app_).get_options(
            [](const CLI::Option* option) { return option->get_configurable() && !option->get_lnames().empty(); });
    }
    [[nodiscard]] std::vector<std::string> names() const
    {
        std::vector<std::string> names;
        for (const CLI::Option* option : options()) {
            names.push_back(option->get_lnames().front());
        }
        return names;
    }
    [[nodiscard]] const CLI::Option* find(const std::string& name) const
    {
        const auto all = options();
        const auto found =
            std::find_if(all.begin(), all.end(), [&](const auto* option) { return option->check_lname(name); });
        return found == all.end() ? nullptr : *found;
    }

private:
    command_line values_;
    CLI::App app_;
};

std::string name_of(const CLI::Option& option)
{
    return option.get_lnames().front();
}

bool is_repeatable(const CLI::Option& option)
{
    return option.get_expected_max() > 1;
}

/// Appends the arguments that give an option these values.
void append(std::vector<std::string>& arguments, const std::string& name, const std::vector<std::string>& values)
{
    for (const std::string& value : values) {
        if (value.empty()) { // the other form takes the next argument for the value
            arguments.push_back("--" + name);
            arguments.push_back(value);
        } else {
            std::string argument = "--" + name;
            arguments.push_back(argument.append("=").append(value));
        }
    }
}

/// Returns what is wrong with the values of one option; an empty text if nothing is.
std::string problem_with(const CLI::Option& option, const std::vector<std::string>& values)
{
    if (values.size() > 1 && !is_repeatable(option)) {
        return "'" + name_of(option) + "' has several values";
    }
    std::vector<std::string> arguments;
    append(arguments, name_of(option), values);
    try {
        parse().run(std::move(arguments));
    } catch (const CLI::ParseError& problem) {
        return problem.what();
    }
    return {};
}

std::string problem_with_unknown(const std::string& key, const parse& parsed)
{
    const std::string nearest = command::nearest_name(key, parsed.names());
    return "'" + display_text(key) + "' is unknown" + (nearest.empty() ? "" : "; the nearest is '" + nearest + "'");
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::size_t begin = 0;
    for (std::size_t end = 0; end != std::string::npos; begin = end + 1) {
        end = text.find(separator, begin);
        parts.push_back(text.substr(begin, end - begin));
    }
    return parts;
}

sources from_command_line(const parse& parsed)
{
    sources found;
    for (const CLI::Option* option : parsed.options()) {
        if (option->count() != 0) {
            found[name_of(*option)] = {option->results(), "command line"};
        }
    }
    return found;
}

sources from_environment(const parse& parsed, const configuration_reader::environment& variables,
                         std::vector<std::string>& problems)
{
    sources found;
    for (const CLI::Option* option : parsed.options()) {
        const std::string variable = variable_of(name_of(*option));
        const auto value = variables(variable);
        if (!value) {
            continue;
        }
        source one{is_repeatable(*option) ? split(*value, ';') : std::vector{*value}, "environment " + variable};
        if (const std::string problem = problem_with(*option, one.values); !problem.empty()) {
            problems.push_back(std::string(variable).append(": ").append(problem));
        }
        found[name_of(*option)] = std::move(one);
    }
    return found;
}

sources from_file(const parse& parsed, const std::string& name, std::vector<std::string>& problems)
{
    file_contents contents = read_configuration_file(name);
    sources found;
    for (file_entry& entry : contents.entries) {
        const std::string place = name + ":" + std::to_string(entry.line);
        const CLI::Option* option = parsed.find(entry.key);
        const std::string problem =
            option == nullptr ? problem_with_unknown(entry.key, parsed) : problem_with(*option, entry.values);
        if (!problem.empty()) {
            contents.problems.push_back(std::string(place).append(": ").append(problem));
        }
        found[entry.key] = {std::move(entry.values), place};
    }
    problems.insert(problems.end(), contents.problems.begin(), contents.problems.end());
    return found;
}

/// Returns the default of an option. The library shows a list as "[a,b]".
std::vector<std::string> default_of(const CLI::Option& option)
{
    std::string shown = option.get_default_str();
    if (is_repeatable(option) && shown.starts_with('[') && shown.ends_with(']')) {
        shown = shown.substr(1, shown.size() - 2);
    }
    if (shown.empty()) {
        return option.get_expected_max() == 0 ? std::vector<std::string>{"false"} : std::vector<std::string>{};
    }
    return is_repeatable(option) ? split(shown, ',') : std::vector{shown};
}

} // namespace

configuration_error::configuration_error(std::vector<std::string> problems)
    : std::runtime_error(problems.front())
    , problems_(std::move(problems))
{}

configuration_reader::configuration_reader(std::vector<std::string> arguments, environment variables)
    : arguments_(std::move(arguments))
    , variables_(std::move(variables))
{}

configuration configuration_reader::read() const
{
    parse parsed;
    parsed.run(arguments_);
    sources chosen = from_command_line(parsed);
    std::vector<std::string> problems;
    chosen.merge(from_environment(parsed, variables_, problems));
    std::string file = parsed.values().config_file;
    if (file.empty()) {
        file = variables_(variable_of("config")).value_or("");
    }
    if (!file.empty()) {
        chosen.merge(from_file(parsed, file, problems));
    }
    if (!problems.empty()) {
        throw configuration_error(std::move(problems));
    }
    configuration made;
    std::vector<std::string> arguments;
    for (const CLI::Option* option : parsed.options()) {
        const std::string name = name_of(*option);
        const auto found = chosen.find(name);
        if (found == chosen.end()) {
            made.settings.push_back({name, default_of(*option), "default"});
            continue;
        }
        append(arguments, name, found->second.values);
        made.settings.push_back({name, std::move(found->second.values), std::move(found->second.origin)});
    }
    parse whole;
    whole.run(std::move(arguments));
    made.values = std::move(whole.values());
    made.values.config_file = std::move(file);
    made.values.check_config = parsed.values().check_config;
    made.values.print_config = parsed.values().print_config;
    return made;
}

std::optional<std::string> variable_of_process(const std::string& name)
{
    const char* const value = std::getenv(name.c_str());
    return value == nullptr || *value == '\0' ? std::nullopt : std::optional<std::string>(value);
}

std::string variable_of(const std::string& option)
{
    std::string name = "POSTWARDEN_SERVICE_";
    for (const char byte : option) {
        const bool small = byte >= 'a' && byte <= 'z';
        name += byte == '-' ? '_' : small ? static_cast<char>(byte - 'a' + 'A') : byte;
    }
    return name;
}

std::vector<std::string> changed_options(const configuration& before, const configuration& now)
{
    std::vector<std::string> names;
    for (const setting& one : now.settings) {
        const bool same = std::any_of(before.settings.begin(), before.settings.end(), [&](const setting& other) {
            return other.name == one.name && other.values == one.values;
        });
        if (!same) {
            names.push_back(one.name);
        }
    }
    return names;
}

} // namespace service
