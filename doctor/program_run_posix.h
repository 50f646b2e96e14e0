#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace doctor {

/// The end of a program.
struct program_end
{
    int status = 0;
    std::string output; ///< standard output and standard error, 64 KiB at most
};

/// Runs a program with its arguments, the first of which is its name or path, and waits for its end. Throws
/// std::runtime_error if it cannot be started, or is ended by a signal. A program that runs longer than `longest` is
/// killed.
[[nodiscard]] program_end run_program(const std::vector<std::string>& arguments, std::chrono::milliseconds longest);

} // namespace doctor
