#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace doctor {

/// The machine that a program or module is built for.
enum class machine_type
{
    x86,
    x64,
    arm64,
    other
};

/// Returns "32-bit (x86)", "64-bit (x64)", "64-bit (ARM64)" or "another machine".
[[nodiscard]] std::string words_of(machine_type machine);

/// What a file that contains a program or a module contains about itself.
struct program_file
{
    bool exists = false;
    std::optional<machine_type> machine; ///< no value: it is no program or module
    std::string version;                 ///< "0.1.0.0"; empty if the file has none
};

/// Looks at files.
class program_files
{
public:
    [[nodiscard]] virtual program_file look(const std::string& path) = 0;
    virtual ~program_files() = default;
};

/// Returns the machine in the header of a PE file; no value for any other file. `path` is UTF-8.
[[nodiscard]] std::optional<machine_type> machine_in(const std::string& path);

} // namespace doctor
