#pragma once

#include "desk/cli/command_line.h"
#include "tests/support/loopback_socket.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace host::test {

/// The result of one run of the command.
struct command_result
{
    int status = -1;
    std::string out;
    std::string err;

    /// Returns the lines of standard output, parsed as JSON.
    [[nodiscard]] std::vector<nlohmann::json> json() const
    {
        std::vector<nlohmann::json> lines;
        std::istringstream input(out);
        for (std::string line; std::getline(input, line);) {
            lines.push_back(nlohmann::json::parse(line));
        }
        return lines;
    }
};

/// Runs the command in this process.
inline command_result command(const std::vector<std::string>& arguments, bool shows_progress = false)
{
    std::vector<const char*> pointers{"postwarden"};
    for (const std::string& argument : arguments) {
        pointers.push_back(argument.c_str());
    }
    std::ostringstream out;
    std::ostringstream err;
    command_result result;
    const console where{out, err, shows_progress, 100};
    result.status = run(static_cast<int>(pointers.size()), pointers.data(), where);
    result.out = out.str();
    result.err = err.str();
    return result;
}

inline std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);) {
        lines.push_back(line);
    }
    return lines;
}

inline std::string file_text(const std::filesystem::path& file)
{
    std::ifstream input(file, std::ios::binary);
    std::ostringstream text;
    text << input.rdbuf();
    return text.str();
}

/// The patterns that the built-in engine detects, assembled at run time.
inline std::string condemned_text()
{
    return std::string("X5O!P%@AP[4\\PZX54(P^)7CC)7}$").append("EICAR-STANDARD-").append("ANTIVIRUS-TEST-FILE!$H+H*");
}

inline std::string repairable_text()
{
    return std::string("POSTWARDEN-").append("REPAIRABLE-TEST-PATTERN");
}

/// Returns a port on which no program listens: one that was free a moment ago.
inline std::string closed_port()
{
    return std::to_string(::test::loopback_socket::listen().port());
}

} // namespace host::test
