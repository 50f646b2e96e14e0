#include "desk/cli/scan_command.h"

#include "desk/cli/file_scan.h"
#include "desk/cli/scan_run.h"
#include "desk/run/colours.h"
#include "desk/run/interruption.h"
#include "desk/run/output_check.h"
#include "desk/run/problem_words.h"
#include "desk/run/scan_target.h"
#include "desk/run/stop_report.h"
#include "doctor/bounded_step.h"
#include "mail/files/atomic_file.h"
#include "mail/files/path_text.h"
#include "mail/inputs/byte_stream.h"
#include "tool/icap_client/session_manager.h"
#include "tool/system/conversions.h"

#include <nlohmann/json.hpp>

#include <array>
#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace host {

namespace {

constexpr std::array<const char*, 4> result_words{"not judged", "clean", "blocked", "repaired"};
constexpr std::array<const char*, 6> kind_words{"mail",          "object",      "http-request",
                                                "http-response", "certificate", "health"};

void write_to(const std::filesystem::path& path, const bytes& data)
{
    std::ofstream output(path, std::ios::binary | std::ios::trunc);
    std::array<char, 65536> block{};
    for (std::uint64_t offset = 0; output && offset < data.size();) {
        const std::size_t got = data.read(offset, block.data(), block.size());
        if (got == 0) {
            throw std::runtime_error("what was repaired cannot be read");
        }
        output.write(block.data(), static_cast<std::streamsize>(got));
        offset += got;
    }
    output.close();
    if (!output) {
        throw std::runtime_error("the file cannot be written");
    }
}

/// Writes a file as a whole or not at all. What is no file, such as a terminal, is written to directly.
void write_file(const std::string& path, const bytes& data)
{
    const std::filesystem::path target = path_of(path);
    if (std::filesystem::exists(target) && !std::filesystem::is_regular_file(target)) {
        write_to(target, data);
        return;
    }
    try {
        write_atomically(target, [&data](const std::filesystem::path& temporary) { write_to(temporary, data); });
    } catch (const std::filesystem::filesystem_error&) {
        throw std::runtime_error("the file cannot be written");
    }
}

/// Writes the repaired object. A failure is reported and counted.
void keep(const bytes& repaired, const std::string& file, const console& where, opening_totals& totals)
{
    try {
        write_file(file, repaired);
    } catch (const std::exception& failure) {
        report(where, file, failure.what());
        ++totals.unsaved;
    }
}

/// Returns the file for display; a scan without a file concerns the service itself.
std::string name_of(const std::string& file)
{
    return file.empty() ? "service" : file;
}

void print(const std::string& file, const scan_options& options, const scan_outcome& outcome, const console& where)
{
    if (where.out_is_terminal) {
        erase_progress(where);
    }
    const auto result = static_cast<std::size_t>(outcome.result);
    if (options.json) {
        nlohmann::ordered_json line;
        line["file"] = file;
        line["kind"] = kind_words.at(static_cast<std::size_t>(options.kind));
        line["result"] = result;
        line["threat"] = outcome.threat;
        line["istag"] = outcome.istag;
        line["answered"] = outcome.answered;
        line["elapsed_ms"] = outcome.elapsed_ms;
        where.out << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
        flush_output(where);
        return;
    }
    // The file name is untrusted input; threat and tag come from the service.
    where.out << printable(name_of(file)) << ": " << result << " (" << in_its_colour(result_words.at(result), where)
              << ")";
    if (!outcome.threat.empty()) {
        where.out << ", threat " << printable(outcome.threat);
    }
    where.out << ", ISTag " << (outcome.istag.empty() ? "none" : printable(outcome.istag)) << ", " << outcome.elapsed_ms
              << " ms\n";
    flush_output(where);
}

using pool_ptr = std::shared_ptr<icap::client::session_manager>;

/// What a connection that is being made has come to.
struct connection
{
    pool_ptr pool;
    std::string failure;
};

/// Returns the pool with one session; null if the service is not available within `timeout_ms`.
pool_ptr connect(const scan_target& target, std::uint32_t timeout_ms, const console& where)
{
    const std::wstring uri = L'/' + winapi::conv_to_wide(target.uri(), winapi::code_page_utf8);
    const auto made = std::make_shared<connection>();
    const auto connected = [made, uri, timeout_ms, port = target.port()] {
        try {
            icap::client::session_timing timing;
            timing.options_answer = timeout_ms;
            made->pool = std::make_shared<icap::client::session_manager>(
                icap::client::session_manager_parameters{L"127.0.0.1", port, uri}, 1, timing);
        } catch (const std::exception& failure) {
            made->failure = problem_words(failure.what());
        }
        return doctor::finding();
    };
    // The wait for a connection itself has no limit of its own.
    constexpr std::uint32_t more_ms = 1000;
    if (!doctor::within(std::chrono::milliseconds(timeout_ms + more_ms), connected)) {
        report(where, "127.0.0.1:" + std::to_string(target.port()),
               "no scanning service answers there: no answer in time");
        return nullptr;
    }
    if (!made->pool) {
        report(where, "127.0.0.1:" + std::to_string(target.port()),
               "no scanning service answers there: " + made->failure);
    }
    return made->pool;
}

void count_scan(const scan_outcome& outcome, opening_totals& totals)
{
    totals.condemned += outcome.result == ScanResult::Blocked ? 1 : 0;
    totals.unjudged += outcome.empty || (outcome.answered && outcome.result != ScanResult::None) ? 0 : 1;
    totals.unanswered += outcome.sent && !outcome.answered ? 1 : 0;
    totals.changed += outcome.repaired ? 1 : 0;
}

void scan_file(const std::string& file, const scan_options& options, const pool_ptr& pool, const console& where,
               opening_totals& totals)
{
    const icap::client::session_lease lease(pool);
    const scan_outcome outcome = run_file_scan(options, file, *lease);
    print(file, options, outcome, where);
    count_scan(outcome, totals);
    if (!outcome.sent) {
        report(where, file, "smaller than 4 bytes, so that it is not sent, which counts as clean");
    } else if (!outcome.answered) {
        report(where, name_of(file), "the service gave no answer, which counts as clean");
    } else if (outcome.repaired && !options.repaired_to.empty()) {
        keep(*outcome.repaired, options.repaired_to, where, totals);
    }
}

/// Scans the files until there is none left or the run is stopped.
void scan_files(const scan_options& options, const pool_ptr& pool, const console& where, opening_totals& totals)
{
    scan_run files(options, where);
    for (std::string file; files.next(file) && interruption::signal() == 0;) {
        try {
            scan_file(file, options, pool, where, totals);
        } catch (const output_failure&) {
            throw;
        } catch (const reading_given_up&) {
            break;
        } catch (const std::exception& failure) {
            report(where, name_of(file), problem_words(failure.what()));
            ++totals.unreadable;
        }
        interruption::set_progress(++totals.done, 0, "files");
    }
    totals.unreadable += files.unreadable() ? 1 : 0;
    totals.stopped_by = interruption::signal();
}

} // namespace

exit_status run_scan(const scan_options& options, const console& given)
{
    const console where = console_with(given, options.terminal);
    const interruption caught(where);
    interruption::set_progress(0, 0, "files");
    const scan_target target(options.port, options.uri);
    const auto pool = connect(target, options.timeout_ms, where);
    if (!pool) {
        return exit_status::no_service;
    }
    opening_totals totals;
    scan_files(options, pool, where, totals);
    pool->terminate();
    if (totals.stopped_by != 0) {
        report_stop(where, totals.done, {}, "files");
    }
    return status_of(totals, options.fail_on);
}

} // namespace host
