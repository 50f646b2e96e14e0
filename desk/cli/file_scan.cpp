#include "desk/cli/file_scan.h"

#include "desk/cli/http_exchange.h"
#include "desk/cli/reported_threat.h"
#include "desk/run/interruption.h"
#include "mail/files/path_text.h"
#include "mail/inputs/input_files.h"
#include "outlook/qdmailprotect/access/io_stream.h"
#include "store/property_stream.h"
#include "tool/icap/reply_readers.h"
#include "tool/icap/response_message.h"
#include "tool/icap_client/session_impl.h"
#include "tool/system/conversions.h"
#include "tool/system/identity.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace host {

namespace {

using answer_ptr = icap::client::session::answer_ptr;

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
        outcome.empty = !file_.empty() && source_->size() == 0;
        outcome.sent = options_.kind != scan_kind::object || source_->size() >= icap::client::smallest_object;
        describe_answer(outcome);
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

    void describe_answer(scan_outcome& outcome) const
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

} // namespace

scan_outcome run_file_scan(const scan_options& options, const std::string& file, icap::client::session& session)
{
    return file_scan(options, file, session).run();
}

} // namespace host
