#include "command/nearest_name.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>

namespace command {

namespace {

/// Returns the number of differences between two names.
std::size_t differences(std::string_view left, std::string_view right)
{
    // Rows of the table whose entry [i][j] is the difference between the first i and the first j characters.
    std::vector<std::size_t> before(right.size() + 1);
    std::vector<std::size_t> last(right.size() + 1);
    std::vector<std::size_t> row(right.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= left.size(); ++i) {
        before.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= right.size(); ++j) {
            const std::size_t change = left[i - 1] == right[j - 1] ? 0 : 1;
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + change});
            if (i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1]) {
                row[j] = std::min(row[j], before[j - 2] + 1);
            }
        }
    }
    return row[right.size()];
}

/// Returns the application and its subcommands that were chosen on the command line, each in the one before it.
std::vector<const CLI::App*> chosen_commands(const CLI::App& app)
{
    std::vector<const CLI::App*> commands{&app};
    for (auto chosen = app.get_subcommands(); !chosen.empty(); chosen = chosen.back()->get_subcommands()) {
        commands.push_back(chosen.back());
    }
    return commands;
}

std::vector<std::string> names_of_options(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
        }
    }
    return names;
}

std::vector<std::string> names_of_subcommands(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        names.push_back(command->get_name());
    }
    return names;
}

std::string no_such(const std::string& what, const std::string& unknown, const std::vector<std::string>& names)
{
    const std::string nearest = nearest_name(unknown, names);
    return "there is no " + what + " \"" + unknown + "\"" +
           (nearest.empty() ? "" : "; the nearest is \"" + nearest + "\"");
}

bool is_option(const std::string& argument)
{
    return argument.size() > 1 && argument.front() == '-';
}

} // namespace

std::string nearest_name(std::string_view unknown, const std::vector<std::string>& names)
{
    std::string nearest;
    std::size_t fewest = std::max<std::size_t>(2, unknown.size() / 3) + 1;
    for (const std::string& name : names) {
        const std::size_t found = differences(unknown, name);
        // A name that continues what was written is near however much is missing.
        const std::size_t counted = name.starts_with(unknown) && unknown.size() > 2 ? 1 : found;
        if (counted < fewest && counted < name.size()) {
            fewest = counted;
            nearest = name;
        }
    }
    return nearest;
}

std::string reason_for_display(const CLI::App& app, const CLI::ParseError& problem)
{
    const std::vector<const CLI::App*> commands = chosen_commands(app);
    const CLI::App& last = *commands.back();
    for (const CLI::App* command : commands) {
        const std::vector<std::string> unknown = command->remaining();
        const auto found = std::find_if(unknown.begin(), unknown.end(), is_option);
        if (found != unknown.end()) {
            const std::string option = found->substr(0, found->find('='));
            const std::vector<std::string> known = names_of_options(last);
            const bool is_known = std::find(known.begin(), known.end(), option) != known.end();
            return is_known ? "the option \"" + option + "\" belongs behind \"" + last.get_name() + "\""
                            : no_such("option", option, known);
        }
    }
    const std::vector<std::string> unknown = last.remaining();
    const std::vector<std::string> subcommands = names_of_subcommands(last);
    return unknown.empty() || subcommands.empty() ? problem.what()
                                                  : no_such("subcommand", unknown.front(), subcommands);
}

} // namespace command
