// The options of --help, their defaults, and docs/service.md.

#include "tests/support/child_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <string_view>

namespace documented_options_test {

using test::child_process;

std::string output_of(const std::string& option)
{
    child_process service(SERVICE_PROGRAM, {option});
    EXPECT_EQ(service.wait(), (child_process::exit_status{0, 0}));
    return service.output();
}

/// Returns the name that `text` begins with, without its dashes; empty if it begins with none.
std::string option_at(std::string_view text)
{
    if (!text.starts_with("--")) {
        return {};
    }
    text.remove_prefix(2);
    return std::string(text.substr(0, text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-")));
}

/// The options in lines such as "  -h,--help  Print ..." and "  --port N [0]  Port ...".
std::set<std::string> options_of_help()
{
    std::set<std::string> names;
    std::istringstream help(output_of("--help"));
    for (std::string line; std::getline(help, line) && line != "Engines:";) {
        const std::size_t first = std::min(line.find_first_not_of(' '), line.size());
        const std::size_t comma = line.find(",--");
        const bool has_short_name = first == 2 && line.substr(first, 1) == "-" && comma == first + 2;
        if (const std::string name = option_at(std::string_view(line).substr(has_short_name ? comma + 1 : first));
            first == 2 && !name.empty()) {
            names.insert(name);
        }
    }
    return names;
}

/// The values in lines such as "uri = "webscan" # default"; empty for an option without one.
std::map<std::string, std::string> defaults_of_program()
{
    std::map<std::string, std::string> defaults;
    std::istringstream printed(output_of("--print-config"));
    for (std::string line; std::getline(printed, line);) {
        const std::size_t end = line.rfind(" # default");
        EXPECT_NE(end, std::string::npos) << line;
        line = line.substr(0, end);
        const std::size_t sign = line.find(" = ");
        if (sign != std::string::npos) {
            std::string value = line.substr(sign + 3);
            std::erase(value, '"');
            defaults[line.substr(0, sign)] = value == "false" ? "off" : value;
        } else {
            const std::string name = line.substr(2, line.find(' ', 2) - 2); // "# log has no value"
            defaults[name] = "";
        }
    }
    return defaults;
}

/// The second cells of the rows that begin with options.
std::map<std::string, std::string> documented_defaults()
{
    std::map<std::string, std::string> rows;
    std::ifstream document(SERVICE_DOCUMENT);
    EXPECT_TRUE(document);
    for (std::string line; std::getline(document, line);) {
        if (!line.starts_with("| `--")) {
            continue;
        }
        // A choice such as "pass\|block" is no end of a cell.
        const std::size_t begin = line.find(" | ") + 3;
        const std::size_t end = line.find(" | ", begin);
        EXPECT_LT(end, line.size()) << line;
        EXPECT_GT(line.size(), end + 20) << "no meaning: " << line;
        std::string_view names = std::string_view(line).substr(0, begin);
        for (std::size_t at = names.find("`--"); at != std::string_view::npos; at = names.find("`--", at + 1)) {
            const std::string name = option_at(names.substr(at + 1));
            EXPECT_TRUE(rows.emplace(name, line.substr(begin, end - begin)).second) << name << " has two rows";
        }
    }
    return rows;
}

TEST(documented_options, are_those_of_the_program)
{
    std::set<std::string> documented;
    for (const auto& [name, value] : documented_defaults()) {
        documented.insert(name);
    }
    EXPECT_GT(documented.size(), 30U);
    EXPECT_THAT(documented, testing::ContainerEq(options_of_help()));
}

TEST(documented_options, have_their_defaults)
{
    const auto documented = documented_defaults();
    const auto defaults = defaults_of_program();
    EXPECT_GT(defaults.size(), 25U);
    for (const auto& [name, value] : defaults) {
        const auto row = documented.find(name);
        ASSERT_NE(row, documented.end()) << name;
        if (value.empty()) {
            EXPECT_THAT(row->second, testing::AnyOf("none", "off")) << name;
        } else {
            EXPECT_EQ(row->second.substr(0, row->second.find(';')), value) << name;
        }
    }
}

} // namespace documented_options_test
