#include "desk/report/requested_page.h"

#include "command/program_version.h"
#include "mail/files/path_text.h"
#include "tool/system/clock.h"
#include "tool/system/conversions.h"
#include "tool/system/time_text.h"

#include <exception>
#include <filesystem>
#include <string_view>

namespace host {

namespace {

std::string present_time()
{
    std::wstring date;
    std::wstring time;
    if (!winapi::format_local_time(winapi::system_time_source().system_ticks(), date, time)) {
        return "an unknown date";
    }
    return winapi::conv_to_char(date + L", " + time, winapi::code_page_utf8);
}

std::string service_words(const open_options& options, const scan_target* target)
{
    if (!target) {
        return "as specified by " + (options.settings_file.empty() ? "the broker" : options.settings_file);
    }
    const std::string place = "127.0.0.1:" + std::to_string(target->port());
    return place + (target->asked_for() ? ", path /" + target->uri() : ", inside the program");
}

} // namespace

report_heading heading_of(const open_options& options, const scan_target* target, std::string_view program)
{
    report_heading result;
    result.when = present_time();
    result.program = std::string(program).append(1, ' ').append(command::program_version());
    const auto add = [&result](std::string_view name, std::string value) {
        result.how.emplace_back(name, std::move(value));
    };
    add("Service", service_words(options, target));
    for (const std::string& path : options.paths) {
        constexpr std::size_t most = 5;
        if (&path - options.paths.data() == most) {
            add("", std::to_string(options.paths.size() - most) + " more");
            break;
        }
        add(&path == options.paths.data() ? "Opened" : "", path);
    }
    if (options.times != 1) {
        add("Openings", std::to_string(options.times) + " of each message");
    }
    if (options.hardened) {
        add("Scanning", "hardened");
    }
    if (options.rescan) {
        add("Verdicts", "clean ones count while the signatures are the same");
    }
    for (const std::string& value : options.registry) {
        add("Registry", value);
    }
    if (!options.log_file.empty()) {
        add("Log", options.log_file);
    }
    return result;
}

requested_page::requested_page(const std::string& file, const report_heading& heading, const console& where)
    : file_(file)
    , where_(where)
{
    if (!file.empty()) {
        attempt([&] { page_ = std::make_unique<html_report>(path_of(file), heading); });
    }
}

template <typename Step>
void requested_page::attempt(Step&& step)
{
    if (!good_) {
        return;
    }
    const auto fail = [this](const std::string& why) {
        good_ = false;
        page_.reset();
        host::report(where_, file_, why);
    };
    try {
        step();
    } catch (const std::filesystem::filesystem_error& failure) {
        fail(failure.code().message());
    } catch (const std::exception& failure) {
        fail(failure.what());
    }
}

void requested_page::add(const reported_opening& entry)
{
    attempt([&] { page_->add(entry); });
}

void requested_page::add_unreadable(const std::string& file, const std::string& why)
{
    attempt([&] { page_->add_unreadable(file, why); });
}

void requested_page::finish(const opening_totals& totals)
{
    attempt([&] { page_->finish(totals); });
}

} // namespace host
