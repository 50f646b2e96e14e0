#pragma once

#include "service/command_line.h"

#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace service {

/// An option with the value in force.
struct setting
{
    std::string name;                ///< without the leading "--"
    std::vector<std::string> values; ///< several for an option that may be given several times; none if there is none
    std::string origin;              ///< "command line", "environment NAME", "FILE:LINE" or "default"

    friend bool operator==(const setting&, const setting&) = default;
};

/// The values of all options, and where they came from.
struct configuration
{
    command_line values;
    std::vector<setting> settings; ///< in the order of `--help`
};

/// The environment or the configuration file contains values that cannot be used.
class configuration_error : public std::runtime_error
{
public:
    explicit configuration_error(std::vector<std::string> problems);
    /// Returns one line for each problem; at least one.
    [[nodiscard]] const std::vector<std::string>& problems() const noexcept { return problems_; }

private:
    std::vector<std::string> problems_;
};

/// Reads the options of the program from its command line, from the environment and from the file that `--config`
/// specifies; the former take precedence over the latter.
class configuration_reader
{
public:
    /// Returns the value of a variable; nothing if there is none.
    using environment = std::function<std::optional<std::string>(const std::string& name)>;

    /// `arguments` are those of the command line, without the name of the program.
    configuration_reader(std::vector<std::string> arguments, environment variables);

    /// Reads all sources anew. Throws CLI::ParseError for the command line, configuration_error for the others.
    [[nodiscard]] configuration read() const;

private:
    std::vector<std::string> arguments_;
    environment variables_;
};

/// Returns the variable of this process's environment; nothing if it is empty or does not exist.
[[nodiscard]] std::optional<std::string> variable_of_process(const std::string& name);

/// Returns the name of the environment variable of an option: POSTWARDEN_SERVICE_ and the option in upper case with "_"
/// for "-".
[[nodiscard]] std::string variable_of(const std::string& option);

/// Returns all settings in the form of a configuration file. The origin of each is a comment.
[[nodiscard]] std::string printed(const configuration& shown);

/// Returns one line for each value with which the service could not start, as far as that can be known without starting
/// it. Creates and binds nothing.
[[nodiscard]] std::vector<std::string> check(const command_line& values);

/// Returns the names of the options whose values differ.
[[nodiscard]] std::vector<std::string> changed_options(const configuration& before, const configuration& now);

} // namespace service
