#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace service {

/// One key of a configuration file.
struct file_entry
{
    std::string key;
    std::vector<std::string> values; ///< one, or those of an array
    std::size_t line = 0;            ///< of the key, from 1
};

/// The contents of a configuration file.
struct file_contents
{
    std::vector<file_entry> entries;
    std::vector<std::string> problems; ///< "FILE:LINE: what is wrong", in the order of their lines
};

/// Reads a configuration: lines "KEY = VALUE" and "KEY = [VALUE, VALUE]", the latter also over several lines. A value
/// with blanks, commas or comment signs has to be in quotes, single or double, and contains neither the same quotes nor
/// line ends; nothing is escaped. "#" begins a comment, and so does ";" at the beginning of a line. There are no
/// sections. `name` specifies the file in the problems.
[[nodiscard]] file_contents parse_configuration(std::string_view text, const std::string& name);

/// Reads a file. A file that cannot be read, or is larger than 1 MiB, is a problem.
[[nodiscard]] file_contents read_configuration_file(const std::string& name);

/// Returns a value in the form in which a configuration file contains it; an empty text if no form exists.
[[nodiscard]] std::string value_in_file(std::string_view value);

} // namespace service
