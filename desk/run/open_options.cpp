#include "desk/run/open_options.h"

#include "desk/run/stop_report.h"
#include "tool/system/conversions.h"
#include "tool/system/registry.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace host {

namespace {

constexpr std::uint16_t highest_port = 65535;

struct registry_entry
{
    std::string_view option;
    std::wstring_view key;
    std::wstring_view name;
    bool number;
};

constexpr std::array registry_entries{
    registry_entry{"KeepVerdictInEmail", winapi::registry_names::environment_key,
                   winapi::registry_names::keep_verdict_in_email, true},
    registry_entry{"HardenedScanning", winapi::registry_names::environment_key,
                   winapi::registry_names::hardened_scanning, true},
    registry_entry{"RescanOnNewSignatures", winapi::registry_names::environment_key,
                   winapi::registry_names::rescan_on_new_signatures, true},
    registry_entry{"Configuration", winapi::registry_names::trace_key, winapi::registry_names::trace_configuration,
                   false},
    registry_entry{"DumpHttpTrafficPath", winapi::registry_names::dump_key,
                   winapi::registry_names::dump_http_traffic_path, false},
};

const registry_entry* find_entry(std::string_view name)
{
    const auto* const found = std::find_if(registry_entries.begin(), registry_entries.end(), [name](const auto& entry) {
        return winapi::compare_no_case(entry.option, name) == 0;
    });
    return found == registry_entries.end() ? nullptr : found;
}

bool parse_number(std::string_view text, std::uint32_t& number)
{
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), number);
    return problem == std::errc() && end == text.data() + text.size();
}

} // namespace

void add_service_options(CLI::App& command, std::optional<std::uint16_t>& port, std::string& uri, bool& json)
{
    command.add_option("--port", port, "Port of a scanning service on 127.0.0.1")
        ->check(CLI::Range(std::uint16_t{1}, highest_port))
        ->type_name("N");
    command.add_option("--uri", uri, "Path of the service")->type_name("TEXT")->capture_default_str();
    command.add_flag("--json", json, "One JSON object a line");
}

void add_open_options(CLI::App& command, open_options& options)
{
    command.add_option("PATH", options.paths, "Messages, mailboxes, folders, or \"-\"")->required()->type_name("");
    command.add_flag("--recursive", options.recursive, "Include the folders in each folder");
    add_terminal_options(command, options.terminal);
    add_service_options(command, options.port, options.uri, options.json);
    command.add_option("--times", options.times, "Open each message so many times in this process")
        ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{1000000}))
        ->type_name("N")
        ->capture_default_str();
    command
        .add_option("--registry", options.registry,
                    "Set a value of the stand-in registry: KeepVerdictInEmail, HardenedScanning, "
                    "RescanOnNewSignatures, Configuration or DumpHttpTrafficPath")
        ->check(CLI::Validator(check_registry_value, ""))
        ->type_name("NAME=VALUE")
        ->take_all()
        ->expected(1);
    command.add_flag("--hardened", options.hardened, "Short for --registry HardenedScanning=1");
    command.add_flag("--rescan", options.rescan, "Short for --registry RescanOnNewSignatures=1");
    command.add_option("--log", options.log_file, "Write the log to a file")->type_name("FILE");
    command
        .add_option(
            "--log-level", options.log_level,
            "Lines up to this level: 200 errors, 300 decisions, 400 course (default), 500 detail; without --log "
            "they go to standard error")
        ->check(CLI::Range(0U, 600U))
        ->type_name("N");
    command
        .add_option("--report", options.page,
                    "Write an HTML page about all openings, with what changed in each message")
        ->type_name("FILE");
    add_fail_on(command, options.fail_on);
    command
        .add_option("--settings", options.settings_file,
                    "Settings as the product gives them, as a blob or as JSON: they name port and path, and each look "
                    "at them reads the file anew")
        ->type_name("FILE")
        ->excludes("--port")
        ->excludes("--uri");
}

expected_work expected_work_of(const open_options& options, const console& where)
{
    return options.json && !where.shows_progress ? expected_work()
                                                 : expect_work(options.paths, options.recursive, where.shows_progress);
}

void report_stop(const open_options& options, const opening_totals& totals, const console& where)
{
    if (totals.stopped_by != 0) {
        report_stop(where, totals.done, expect_work(options.paths, options.recursive, false).messages, "messages");
    }
}

std::string check_registry_value(const std::string& text)
{
    const auto refuse = [](std::string_view part, std::string_view why) {
        std::string answer(1, '"');
        answer.append(part).append("\" ").append(why);
        return answer;
    };
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) {
        return refuse(text, "is not of the form NAME=VALUE");
    }
    const registry_entry* entry = find_entry(std::string_view(text).substr(0, equals));
    if (!entry) {
        return refuse(std::string_view(text).substr(0, equals),
                      "is none of KeepVerdictInEmail, HardenedScanning, RescanOnNewSignatures, Configuration, "
                      "DumpHttpTrafficPath");
    }
    std::uint32_t ignored = 0;
    if (entry->number && !parse_number(std::string_view(text).substr(equals + 1), ignored)) {
        return refuse(text, "needs a number from 0 to 4294967295");
    }
    return {};
}

registry_value parse_registry_value(const std::string& text)
{
    const std::size_t equals = text.find('=');
    const registry_entry& entry = *find_entry(std::string_view(text).substr(0, equals));
    const std::string value = text.substr(equals + 1);
    registry_value result{std::wstring(entry.key), std::wstring(entry.name), {}};
    if (entry.number) {
        std::uint32_t number = 0;
        parse_number(value, number);
        result.value = number;
    } else {
        result.value = winapi::conv_to_wide(value, winapi::code_page_utf8);
    }
    return result;
}

std::vector<registry_value> registry_values(const open_options& options)
{
    std::vector<registry_value> values;
    for (const std::string& text : options.registry) {
        values.push_back(parse_registry_value(text));
    }
    if (options.hardened) {
        values.push_back(parse_registry_value("HardenedScanning=1"));
    }
    if (options.rescan) {
        values.push_back(parse_registry_value("RescanOnNewSignatures=1"));
    }
    return values;
}

} // namespace host
