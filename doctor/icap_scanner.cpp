#include "doctor/icap_scanner.h"

#include "tool/icap/reply_readers.h"
#include "tool/icap/response_message.h"
#include "tool/icap_client/session_impl.h"
#include "tool/icap_client/session_manager.h"
#include "tool/system/conversions.h"
#include "tool/system/identity.h"
#include "tool/web/io_memory.h"

#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace doctor {

namespace {

using icap::client::session_impl;
using icap::client::session_manager;

std::uint32_t wait_of(std::chrono::milliseconds longest)
{
    return static_cast<std::uint32_t>(longest.count());
}

/// Returns why a session could not be made, from the client's words.
std::string words_of(std::string_view failure, std::chrono::milliseconds longest)
{
    return failure.find("timeout") == std::string_view::npos
               ? "OPTIONS was refused, or the connection closed"
               : "OPTIONS was not answered within " + std::to_string(longest.count()) + " ms";
}

/// A pool with one session, for one question.
class conversation
{
public:
    conversation(const endpoint& peer, const std::string& uri, std::chrono::milliseconds longest)
    {
        if (const std::string refusal = refusal_of(peer, longest); !refusal.empty()) {
            throw std::runtime_error(refusal);
        }
        icap::client::session_timing timing;
        timing.options_answer = wait_of(longest);
        try {
            pool_ = std::make_shared<session_manager>(
                icap::client::session_manager_parameters{winapi::conv_to_wide(peer.address), peer.port,
                                                         L'/' + winapi::conv_to_wide(uri, winapi::code_page_utf8)},
                1, timing);
            session_ = std::dynamic_pointer_cast<session_impl>(pool_->query_session());
        } catch (const std::exception& failure) {
            throw std::runtime_error(words_of(failure.what(), longest));
        }
    }
    conversation(const conversation&) = delete;
    conversation& operator=(const conversation&) = delete;
    ~conversation()
    {
        session_->close();
        pool_->terminate();
    }

    session_impl& session() { return *session_; }

private:
    std::shared_ptr<session_manager> pool_;
    std::shared_ptr<session_impl> session_;
};

std::shared_ptr<web::io_data> data_of(const std::string& bytes)
{
    auto data = std::make_shared<web::io_memory>(bytes.size());
    data->append(bytes.data(), bytes.size());
    return data;
}

icap::client::scan_mail request_of(const std::string& name, const std::string& bytes, std::chrono::milliseconds longest)
{
    icap::client::scan_mail request;
    request.user_name =
        winapi::conv_to_char(winapi::user_sid_text(winapi::current_user_name()), winapi::code_page_utf8);
    request.process_name = winapi::current_process_path();
    request.process_id = winapi::current_process_id();
    request.subject = "postwarden-doctor";
    request.mime_type = "text/plain";
    request.type = icap::client::content_type::attachment;
    request.attach_name = name;
    request.data = data_of(bytes);
    request.timeout = wait_of(longest);
    request.hardened = true;
    return request;
}

} // namespace

icap_scanner::icap_scanner(endpoint peer, std::string uri, std::chrono::milliseconds longest)
    : peer_(std::move(peer))
    , uri_(std::move(uri))
    , longest_(longest)
{}

options_answer icap_scanner::options()
{
    conversation with(peer_, uri_, longest_);
    return {with.session().methods(), with.session().preview_size(), with.session().istag()};
}

object_answer icap_scanner::judge(const std::string& name, const std::string& bytes)
{
    conversation with(peer_, uri_, longest_);
    const auto begun = std::chrono::steady_clock::now();
    icap::client::session::answer_ptr answer;
    object_answer result;
    result.result = with.session().scan(request_of(name, bytes, longest_), answer);
    result.spent = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begun);
    result.answered = with.session().answered();
    if (answer) {
        result.threat = icap::get_infection_param(answer, "Threat");
    } else if (result.result == ScanResult::Blocked) {
        result.threat = with.session().threat();
    }
    return result;
}

} // namespace doctor
