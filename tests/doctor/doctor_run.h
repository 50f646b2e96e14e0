#pragma once

#include "doctor/doctor_command.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace doctor {

/// The rows about the service, without that of the port: in tests the service is part of another program.
inline constexpr const char* service_rows = "options,clean-object,test-object,verdict-time,engines";

/// The result of one run of the command.
struct doctor_run
{
    int status = -1;
    std::string out;
    std::string err;

    [[nodiscard]] std::string state(const std::string& name) const { return field(name, "state"); }
    [[nodiscard]] std::string found(const std::string& name) const { return field(name, "found"); }
    [[nodiscard]] std::string remedy(const std::string& name) const { return field(name, "remedy"); }
    [[nodiscard]] std::vector<std::string> names() const
    {
        std::vector<std::string> result;
        const auto rows = nlohmann::json::parse(out).at("rows");
        for (const auto& row : rows) {
            result.push_back(row.at("name"));
        }
        return result;
    }

private:
    [[nodiscard]] std::string field(const std::string& name, const char* which) const
    {
        const auto rows = nlohmann::json::parse(out).at("rows");
        for (const auto& row : rows) {
            if (row.at("name") == name) {
                return row.at(which);
            }
        }
        ADD_FAILURE() << "no row " << name << " in " << out;
        return {};
    }
};

inline doctor_run run_doctor(const std::vector<std::string>& arguments)
{
    std::ostringstream out;
    std::ostringstream err;
    doctor_run result;
    result.status = run(arguments, "doctor", "1.2.3", {out, err, false, 80});
    result.out = out.str();
    result.err = err.str();
    return result;
}

/// Runs some rows. `more` may choose others. A verdict may take any time, since the machine of a test may be loaded.
inline doctor_run run_rows(const std::string& names, std::vector<std::string> more)
{
    std::vector<std::string> arguments{"--json", "--slow", "600000"};
    if (std::find(more.begin(), more.end(), "--only") == more.end()) {
        arguments.insert(arguments.end(), {"--only", names});
    }
    if (std::find(more.begin(), more.end(), "--timeout") == more.end()) {
        arguments.insert(arguments.end(), {"--timeout", "60000"});
    }
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_doctor(arguments);
}

} // namespace doctor
