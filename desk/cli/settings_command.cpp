#include "desk/cli/settings_command.h"

#include "desk/cli/settings_input.h"
#include "desk/run/interruption.h"
#include "desk/run/output_check.h"
#include "desk/settings/settings_file.h"
#include "desk/settings/settings_json.h"
#include "mail/files/atomic_file.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace host {

namespace {

constexpr const char* standard_output_name = "-";

using DOVA::Settings::SettingText;
using DOVA::Settings::WebTrafficMonitorSettings;

constexpr const char* footer =
    R"(A setting has a default, a value and a mark whether the value is set; the value is in force if it is,
otherwise the default. A blob is the form in which the product hands its settings to the add-in.

Examples:
  postwarden settings show settings.blob
  postwarden settings make --json settings.json settings.blob)";

constexpr const char* show_footer =
    R"(FILE is a blob or JSON, "-" is standard input. Without --json a table; * marks the settings that the add-in reads.

Examples:
  postwarden settings show settings.blob
  postwarden settings show --json settings.blob

Exit status: 0 shown, 2 the command line is wrong, 3 the file could not be read or holds no settings.)";

constexpr const char* make_footer =
    R"(The JSON is of the form that "settings show --json" prints; what it leaves out has its default, and
"effective" is passed over, since it follows from the rest: {} makes the defaults of all settings. A name that
there is not, a value of another type, and a number outside of its range, such as the port 99999, are refused
with the full name. OUT is written as a whole or not at all. "-" is standard input and standard output.

Examples:
  postwarden settings show --json settings.blob > settings.json
  postwarden settings make --json settings.json settings.blob
  echo '{}' | postwarden settings make --json - settings.blob

Exit status: 0 made, 1 OUT could not be written, 2 the command line is wrong, 3 the JSON could not be read
or is refused.)";

void show_table(const WebTrafficMonitorSettings& settings, const console& where)
{
    constexpr std::size_t set_columns = 5;
    constexpr std::size_t narrowest = 8;
    const std::vector<SettingText> texts = DOVA::Settings::TextsOf(settings);
    std::size_t name_columns = 0;
    for (const SettingText& text : texts) {
        name_columns = std::max(name_columns, text.name.size());
    }
    // Two columns for the mark, and one blank after each column except the last.
    const std::size_t taken = 2 + name_columns + set_columns + 4;
    const std::size_t value_columns = std::max(where.width > taken ? (where.width - taken) / 3 : 0, narrowest);
    const auto line = [&](bool mark, const std::string& name, const std::string& effective, const std::string& set,
                          const std::string& value, const std::string& standard) {
        std::string text = (mark ? "* " : "  ") + fitted(name, name_columns) + ' ' + fitted(effective, value_columns) +
                           ' ' + fitted(set, set_columns) + ' ' + fitted(value, value_columns) + ' ' +
                           fitted(standard, value_columns);
        text.erase(text.find_last_not_of(' ') + 1);
        where.out << text << '\n';
    };
    line(false, "SETTING", "IN FORCE", "SET", "VALUE", "DEFAULT");
    for (const SettingText& text : texts) {
        line(text.readByAddin, text.name, text.effective, text.isSet ? "yes" : "no", text.value, text.default_);
    }
}

exit_status show(const settings_options& options, const console& where)
{
    const WebTrafficMonitorSettings settings = load_settings(settings_input(options.file).path());
    if (options.json) {
        where.out << DOVA::Settings::JsonFromSettings(settings);
    } else {
        show_table(settings, where);
    }
    flush_output(where);
    return exit_status::done;
}

exit_status make(const settings_options& options, const console& where)
{
    const std::vector<std::uint8_t> blob =
        usable_settings_bytes(read_settings_file(settings_input(options.file).path()));
    if (options.made_to == standard_output_name) {
        where.out.write(reinterpret_cast<const char*>(blob.data()), static_cast<std::streamsize>(blob.size()));
        flush_output(where);
        return exit_status::done;
    }
    try {
        write_atomically(options.made_to, [&](const std::filesystem::path& temporary) {
            std::ofstream output(temporary, std::ios::binary);
            output.write(reinterpret_cast<const char*>(blob.data()), static_cast<std::streamsize>(blob.size()));
            output.close();
            if (!output) {
                throw std::runtime_error("cannot be written");
            }
        });
    } catch (const std::filesystem::filesystem_error& failure) {
        report(where, options.made_to, failure.code().message());
        return exit_status::failed;
    } catch (const std::runtime_error& failure) {
        report(where, options.made_to, failure.what());
        return exit_status::failed;
    }
    return exit_status::done;
}

} // namespace

CLI::App* add_settings(CLI::App& app, settings_options& options)
{
    CLI::App* command = app.add_subcommand("settings", "Show settings, or make them from JSON");
    command->require_subcommand(1);
    command->footer(footer);
    CLI::App* shown = command->add_subcommand("show", "Show the settings of a file");
    shown->add_option("FILE", options.file, "Settings")->required()->type_name("");
    shown->add_flag("--json", options.json, "One JSON object with every field");
    shown->footer(show_footer);
    CLI::App* made = command->add_subcommand("make", "Make a settings blob");
    made->add_option("--json", options.file, "The settings as JSON")->required()->type_name("FILE");
    made->add_option("OUT", options.made_to, "The blob")->required()->type_name("");
    made->footer(make_footer);
    made->callback([&options] { options.makes = true; });
    return command;
}

exit_status run_settings(const settings_options& options, const console& where)
{
    const interruption caught(where, interruption::first_request::ends_process);
    try {
        return options.makes ? make(options, where) : show(options, where);
    } catch (const settings_file_error& error) {
        report(where, options.file, error.what());
        return exit_status::unreadable;
    }
}

} // namespace host
