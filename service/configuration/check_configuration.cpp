#include "service/configuration/configuration.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace service {

namespace {

/// Returns why a file could not be written; an empty text if it probably could. Does not create it.
std::string problem_with_file(const std::string& name)
{
    std::error_code error;
    const std::filesystem::path path(name);
    if (std::filesystem::is_directory(path, error)) {
        return "is a folder";
    }
    if (std::filesystem::exists(path, error)) {
        return std::ofstream(path, std::ios::app) ? "" : "cannot be written";
    }
    const auto folder = path.has_parent_path() ? path.parent_path() : std::filesystem::path(".");
    return std::filesystem::is_directory(folder, error) ? "" : "its folder does not exist";
}

} // namespace

std::vector<std::string> check(const command_line& values)
{
    std::vector<std::string> problems;
    if (!values.log_file.empty()) {
        if (const std::string problem = problem_with_file(values.log_file); !problem.empty()) {
            problems.push_back("log: " + values.log_file + " " + problem);
        }
    }
    // The constructor of a server verifies its options one after the other. Each problem is looked for with usual
    // values for the rest.
    const auto attempt = [&problems](const server_options& options) {
        try {
            const scan_server server(options);
            return true;
        } catch (const std::exception& problem) {
            problems.emplace_back(problem.what());
            return false;
        }
    };
    const server_options usual;
    server_options rest = values.server;
    const auto attempt_alone = [&](auto server_options::*option) {
        server_options only;
        only.*option = values.server.*option;
        if (!attempt(only)) {
            rest.*option = usual.*option;
        }
    };
    attempt_alone(&server_options::uri);
    attempt_alone(&server_options::engines);
    attempt_alone(&server_options::notice_file);
    attempt_alone(&server_options::lists);
    attempt(rest);
    return problems;
}

} // namespace service
