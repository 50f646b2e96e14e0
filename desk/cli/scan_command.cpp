#include "desk/cli/scan_command.h"

#include "desk/cli/http_exchange.h"
#include "desk/cli/reported_threat.h"
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
#include "mail/inputs/input_files.h"
#include "outlook/qdmailprotect/access/io_stream.h"
#include "store/property_stream.h"
#include "tool/icap/reply_readers.h"
#include "tool/icap/response_message.h"
#include "tool/icap_client/session_impl.h"
#include "tool/icap_client/session_manager.h"
#include "tool/system/conversions.h"
#include "tool/system/identity.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

namespace host {

namespace {

using answer_ptr = icap::client::session::answer_ptr;

/// The outcome of one scan.
struct scan_outcome
{
    ScanResult result = ScanResult::None;
    std::string threat;
    std::string istag;
    bool answered = true; ///< false: the service gave no verdict, which counts as clean
    bool sent = true;     ///< false: too small to be sent
    std::uint64_t elapsed_ms = 0;
    bytes_ptr repaired; ///< null if nothing was repaired
};

constexpr std::array<const char*, 4> result_words{"not judged", "clean", "blocked", "repaired"};
constexpr std::array<const char*, 6> kind_words{"mail",          "object",      "http-request",
                                                "http-response", "certificate", "health"};

std::string percent_encoded(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                           c == '.' || c == '_' || c == '~';
        if (plain) {
            result.push_back(c);
        } else {
            result.push_back('%');
            result.push_back(digits[code >> 4U]);
            result.push_back(digits[code & 0xFU]);
        }
    }
    return result;
}

/// Returns the login session of this process; all ones if the system cannot report it.
std::uint32_t own_session()
{
    std::uint32_t session = 0xFFFFFFFFU;
    return winapi::process_id_to_session_id(winapi::current_process_id(), session) ? session : 0xFFFFFFFFU;
}

/// Returns the first lines of a small text, without their line ends.
std::array<std::string, 2> first_lines(const bytes& text)
{
    constexpr std::uint64_t longest = 4096;
    std::string start(std::min(text.size(), longest), '\0');
    start.resize(text.read(0, start.data(), start.size()));
    std::array<std::string, 2> lines;
    std::istringstream input(start);
    for (std::string& line : lines) {
        std::getline(input, line);
        if (line.ends_with('\r')) {
            line.pop_back();
        }
    }
    return lines;
}

/// A scan of one file on one session, selected by kind.
class file_scan
{
public:
    file_scan(const scan_options& options, std::string file, icap::client::session& session)
        : options_(options)
        , file_(std::move(file))
        , source_(file_.empty() ? bytes_of({}) : bytes_of_input(path_of(file_), interruption::limits_of_inputs()))
        , session_(session)
        , edited_(std::make_shared<stream_state>(source_, PT_BINARY))
    {
        user_ = winapi::conv_to_char(winapi::user_sid_text(winapi::current_user_name()), winapi::code_page_utf8);
    }

    scan_outcome run()
    {
        const auto start = std::chrono::steady_clock::now();
        scan_outcome outcome;
        outcome.result = scan();
        const auto spent = std::chrono::steady_clock::now() - start;
        outcome.elapsed_ms =
            static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(spent).count());
        outcome.sent = options_.kind != scan_kind::object || source_->size() >= icap::client::smallest_object;
        tell_service(outcome);
        if (outcome.result == ScanResult::Repaired) {
            outcome.repaired = edited_->freeze();
        } else if (is_http() && answer_ && icap::get_infection_param(answer_, "Resolution") == "1") {
            outcome.repaired = repaired_message();
        }
        return outcome;
    }

private:
    [[nodiscard]] bool is_http() const
    {
        return options_.kind == scan_kind::http_request || options_.kind == scan_kind::http_response;
    }

    ScanResult scan()
    {
        switch (options_.kind) {
        case scan_kind::mail:
            return scan_mail();
        case scan_kind::object:
            return scan_object();
        case scan_kind::http_request:
        case scan_kind::http_response:
            return scan_http();
        case scan_kind::certificate:
            return scan_certificate();
        default:
            return scan_health();
        }
    }

    /// Returns the data that the session reads from and writes a repaired object to.
    std::shared_ptr<web::io_data> data()
    {
        return std::make_shared<web::io_stream>(make_property_stream(edited_, nullptr, 0, true));
    }

    [[nodiscard]] std::string base_name() const { return std::filesystem::path(file_).filename().string(); }

    template <typename Record>
    void fill_process(Record& record) const
    {
        record.user_name = user_;
        record.process_name = winapi::current_process_path();
        record.process_id = winapi::current_process_id();
        record.timeout = options_.timeout_ms;
    }

    ScanResult scan_mail()
    {
        icap::client::scan_mail record;
        fill_process(record);
        record.session_id = own_session();
        record.subject = base_name();
        record.mime_type = "application/octet-stream";
        record.type = icap::client::content_type::attachment;
        record.attach_name = base_name();
        record.data = data();
        return session_.scan(record, answer_);
    }

    ScanResult scan_object()
    {
        icap::client::scan_object record;
        record.object_name = "http://scan_object/" + percent_encoded(base_name());
        record.data = data();
        record.timeout = options_.timeout_ms;
        return session_.scan(record);
    }

    ScanResult scan_http()
    {
        const bool with_response = options_.kind == scan_kind::http_response;
        const http_exchange exchange = read_http(*source_, with_response);
        if (!with_response) {
            icap::client::scan_http_request record;
            fill_process(record);
            record.session_id = own_session();
            record.request = exchange.request.get();
            return session_.scan(record, answer_);
        }
        icap::client::scan_http_response record;
        fill_process(record);
        record.session_id = own_session();
        record.request = exchange.request.get();
        record.response = exchange.response.get();
        return session_.scan(record, answer_);
    }

    ScanResult scan_certificate()
    {
        const auto lines = first_lines(*source_);
        if (lines[0].empty()) {
            throw std::runtime_error("its first line must hold the server's name, its second the certificate's");
        }
        icap::client::scan_certificate record;
        fill_process(record);
        record.sni = lines[0];
        record.certificate_name = winapi::conv_to_wide(lines[1], winapi::code_page_utf8);
        return session_.scan(record);
    }

    ScanResult scan_health()
    {
        icap::client::scan_health record;
        record.user_name = user_;
        record.health = file_.empty() ? "Is scanner available?" : first_lines(*source_)[0];
        record.timeout = options_.timeout_ms;
        return session_.scan(record);
    }

    void tell_service(scan_outcome& outcome) const
    {
        const auto* real = dynamic_cast<const icap::client::session_impl*>(&session_);
        if (real) {
            outcome.istag = real->istag();
            outcome.answered = real->answered();
        }
        if (answer_) {
            outcome.threat = reported_threat(answer_);
        } else if (real && outcome.result == ScanResult::Blocked) {
            outcome.threat = real->threat();
        }
    }

    /// Returns the head and body of the message that the service sent as a replacement for the one it received.
    [[nodiscard]] bytes_ptr repaired_message() const
    {
        http::byte_vector all;
        if (answer_->has_response()) {
            answer_->response().read(nullptr, all);
        } else if (answer_->has_request()) {
            answer_->request().read(nullptr, all);
        }
        return bytes_of(std::string(all.begin(), all.end()));
    }

    const scan_options& options_;
    std::string file_;
    bytes_ptr source_;
    icap::client::session& session_;
    std::shared_ptr<stream_state> edited_;
    std::string user_;
    answer_ptr answer_;
};

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

/// Writes the repaired object. A failure is reported.
exit_status keep(const bytes& repaired, const std::string& file, const console& where)
{
    try {
        write_file(file, repaired);
        return exit_status::done;
    } catch (const std::exception& failure) {
        report(where, file, failure.what());
        return exit_status::failed;
    }
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
    where.out << (file.empty() ? "service" : printable(file)) << ": " << result << " ("
              << in_its_colour(result_words.at(result), where) << ")";
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
    totals.unjudged += outcome.answered && outcome.result != ScanResult::None ? 0 : 1;
    totals.changed += outcome.repaired ? 1 : 0;
}

exit_status scan_file(const std::string& file, const scan_options& options,
                      const std::shared_ptr<icap::client::session_manager>& pool, const console& where,
                      opening_totals& totals)
{
    const icap::client::session_lease lease(pool);
    const scan_outcome outcome = file_scan(options, file, *lease).run();
    print(file, options, outcome, where);
    count_scan(outcome, totals);
    if (!outcome.sent) {
        report(where, file, "smaller than 4 bytes, so that it is not sent, which counts as clean");
        return exit_status::done;
    }
    if (!outcome.answered) {
        report(where, file.empty() ? "service" : file, "the service gave no answer, which counts as clean");
        return exit_status::no_service;
    }
    return outcome.repaired && !options.repaired_to.empty() ? keep(*outcome.repaired, options.repaired_to, where)
                                                            : exit_status::done;
}

} // namespace

exit_status run_scan(const scan_options& options, const console& given)
{
    const console where = console_with(given, options.terminal);
    const interruption caught;
    const scan_target target(options.port, options.uri);
    const auto pool = connect(target, options.timeout_ms, where);
    if (!pool) {
        return exit_status::no_service;
    }
    exit_status status = exit_status::done;
    opening_totals totals;
    scan_run files(options, where);
    std::uint64_t done = 0;
    const auto stop = [&] {
        report_stop(where, done, {}, "files");
        status = stopped_by(interruption::signal());
    };
    for (std::string file; files.next(file); ++done) {
        interruption::set_progress(done, 0, "files");
        if (interruption::signal() != 0) {
            stop();
            break;
        }
        try {
            const exit_status one = scan_file(file, options, pool, where, totals);
            status = one == exit_status::done ? status : one;
        } catch (const output_failure&) {
            throw;
        } catch (const reading_given_up&) {
            stop();
            break;
        } catch (const std::exception& failure) {
            report(where, file.empty() ? "service" : file, problem_words(failure.what()));
            status = exit_status::unreadable;
        }
    }
    status = status == exit_status::done && files.unreadable() ? exit_status::unreadable : status;
    pool->terminate();
    const bool ended = status == exit_status::failed || static_cast<int>(status) > 128;
    const bool met = !ended && fails_on(options.fail_on, totals);
    return met ? exit_status::condition_met : status;
}

} // namespace host
