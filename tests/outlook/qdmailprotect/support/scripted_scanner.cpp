#include "tests/outlook/qdmailprotect/support/scripted_scanner.h"

#include "logging/logging.h"
#include "tool/icap/analyzer.h"
#include "tool/icap/response_message.h"
#include "tool/system/conversions.h"

#include <stdexcept>
#include <string_view>
#include <utility>

namespace test {

namespace {

std::shared_ptr<icap::response_message> parse(const std::string& text)
{
    icap::analyzer analyzer;
    std::unique_ptr<icap::message> message;
    for (std::size_t done = 0; done < text.size();) {
        const std::size_t count = std::min<std::size_t>(text.size() - done, 4096);
        analyzer.enqueue(text.data() + done, text.data() + done + count);
        done += count;
        if (message) {
            analyzer.feed(*message);
        } else {
            message = analyzer.extract();
        }
    }
    std::shared_ptr<icap::message> whole = std::move(message);
    auto reply = std::dynamic_pointer_cast<icap::response_message>(whole);
    if (!reply || !reply->complete()) {
        throw std::logic_error("the scripted reply is not a whole reply");
    }
    return reply;
}

std::string reply_head(const std::string& encapsulated)
{
    return "ICAP/1.0 200 OK\r\nISTag: \"tag-1\"\r\nX-Infection-Found: Type=0;Resolution=2;Threat=Test;\r\n"
           "Encapsulated: " +
           encapsulated + "\r\n\r\n";
}

std::string chunked(const std::string& contents)
{
    return contents.empty() ? "0\r\n\r\n" : winapi::to_hex(contents.size()) + "\r\n" + contents + "\r\n0\r\n\r\n";
}

class scripted_session final : public icap::client::session
{
public:
    explicit scripted_session(scripted_pool& pool)
        : pool_(pool)
    {}
    ScanResult scan(const icap::client::scan_mail& parameters, answer_ptr& answer) override
    {
        LOG_LINE(logging::wpx_log(), 500, "scan");
        scan_record record{parameters, read_all(*parameters.data)};
        record.parameters.data.reset();
        pool_.scans.push_back(std::move(record));
        scan_answer next;
        if (!pool_.answers.empty()) {
            next = pool_.answers.front();
            pool_.answers.pop_front();
        }
        if (next.raises) {
            throw std::runtime_error("scripted failure");
        }
        answer = next.response;
        return next.result;
    }
    ScanResult scan(const icap::client::scan_health&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_certificate&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_http_response&, answer_ptr&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_http_request&, answer_ptr&) override { return ScanResult::Clean; }
    ScanResult scan(const icap::client::scan_object&) override { return ScanResult::Clean; }
    bool is_invalid() override { return false; }
    std::uint32_t idle() override { return 0; }
    void close() override {}
    bool is_closed() override { return false; }

private:
    static std::string read_all(web::io_data& data)
    {
        std::string bytes;
        char piece[1000];
        while (const std::uint64_t count = data.read(bytes.size(), piece, sizeof piece)) {
            bytes.append(piece, static_cast<std::size_t>(count));
        }
        return bytes;
    }
    scripted_pool& pool_;
};

} // namespace

std::shared_ptr<icap::response_message> reply_with(const std::string& html)
{
    const std::string head =
        "HTTP/1.1 403 Forbidden\r\nContent-Type: text/html\r\nContent-Length: " + std::to_string(html.size()) +
        "\r\n\r\n";
    return parse(reply_head("res-hdr=0, res-body=" + std::to_string(head.size())) + head + chunked(html));
}

std::shared_ptr<icap::response_message> reply_with_request(const std::string& contents)
{
    const std::string head =
        "POST http://check_mail?tag= HTTP/1.1\r\nContent-Length: " + std::to_string(contents.size()) + "\r\n\r\n";
    return parse(reply_head("req-hdr=0, req-body=" + std::to_string(head.size())) + head + chunked(contents));
}

std::shared_ptr<icap::response_message> reply_without_contents()
{
    return parse(reply_head("null-body=0"));
}

std::shared_ptr<icap::client::session> scripted_pool::query_session()
{
    ++queries;
    LOG_LINE(logging::wpx_log(), 500, "lease");
    if (query_raises) {
        throw std::runtime_error("no session");
    }
    ++leased;
    return std::make_shared<scripted_session>(*this);
}

void scripted_pool::release_session(std::shared_ptr<icap::client::session>)
{
    ++releases;
    --leased;
    if (release_raises) {
        throw std::runtime_error("release session: session manager already terminated");
    }
}

std::shared_ptr<const DOVA::Settings::WebTrafficMonitorSettings> scripted_link::GetSettings()
{
    ++settings_reads;
    if (on_get_settings) {
        on_get_settings();
    }
    return settings;
}

void scripted_link::ForceConnection(bool now)
{
    note(now ? "ForceConnection now" : "ForceConnection later");
    if (on_force) {
        on_force(now);
    }
}

void scripted_link::LoadSettings()
{
    note("LoadSettings");
    if (on_load) {
        on_load();
    }
}

void scripted_link::BreakConnection()
{
    note("BreakConnection");
    connected = false;
    pool.reset();
}

void scripted_link::note(const std::string& call)
{
    calls.push_back(call);
    LOG_LINE(logging::wpx_log(), 500, "link " << call);
}

} // namespace test
