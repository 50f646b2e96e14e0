#include "service/engine/builtin_engine.h"
#include "service/scan_server.h"
#include "tests/service/started_server.h"
#include "tool/http/analyzer.h"
#include "tool/icap/response_message.h"
#include "tool/icap_client/session_manager.h"
#include "tool/web/body_store.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace client_scans_test {

using icap::client::session_lease;
using icap::client::session_manager;
using test::started_server;

std::shared_ptr<web::io_data> stored(std::string_view text)
{
    std::shared_ptr<web::io_data> store = web::make_body_store(text.size());
    EXPECT_EQ(store->append(text.data(), text.size()), text.size());
    return store;
}

std::string content_of(web::io_data& store)
{
    std::string text(static_cast<std::size_t>(store.size()), '\0');
    text.resize(static_cast<std::size_t>(store.read(0, text.data(), text.size())));
    return text;
}

std::unique_ptr<http::message> http_message(const std::string& head, std::string_view body)
{
    http::analyzer analyzer;
    analyzer.enqueue(head.data(), head.data() + head.size());
    auto message = analyzer.extract();
    EXPECT_NE(message, nullptr) << head;
    EXPECT_EQ(message->append(body.data(), body.data() + body.size()), body.size());
    return message;
}

const std::string test_file = service::antivirus_test_text();

/// The real client against the real server. The parameter is the preview size announced in the response to OPTIONS.
class client_scans : public testing::TestWithParam<std::uint32_t>
{
protected:
    static service::server_options options()
    {
        service::server_options made;
        made.preview = GetParam();
        return made;
    }
    ~client_scans() override { pool_->terminate(); }

    ScanResult mail(std::string_view body, std::string* answered = nullptr)
    {
        icap::client::scan_mail record;
        record.user_name = "S-1-5-21";
        record.subject = "Minutes";
        record.tag = "t";
        record.mime_type = "text/plain";
        record.data = stored(body);
        std::shared_ptr<icap::response_message> answer;
        session_lease session(pool_);
        const ScanResult result = session->scan(record, answer);
        EXPECT_FALSE(session->is_invalid());
        if (answered != nullptr) {
            *answered = result == ScanResult::Repaired     ? content_of(*record.data)
                        : answer && answer->has_response() ? content_of(answer->response().body())
                                                           : std::string();
        }
        return result;
    }
    ScanResult object(std::string_view content)
    {
        icap::client::scan_object record;
        record.object_name = "http://host/file.bin";
        record.data = stored(content);
        session_lease session(pool_);
        const ScanResult result = session->scan(record);
        EXPECT_FALSE(session->is_invalid()) << content.size() << " bytes";
        return result;
    }
    ScanResult http_response(std::string_view body)
    {
        const auto request = http_message("GET http://host/file.bin HTTP/1.1\r\nHost: host\r\n\r\n", "");
        const auto response =
            http_message("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n", body);
        icap::client::scan_http_response record;
        record.request = request.get();
        record.response = response.get();
        std::shared_ptr<icap::response_message> answer;
        session_lease session(pool_);
        const ScanResult result = session->scan(record, answer);
        EXPECT_FALSE(session->is_invalid()) << body.size() << " bytes";
        EXPECT_TRUE(result != ScanResult::Blocked || answer);
        return result;
    }
    ScanResult http_request(std::string_view body)
    {
        const auto request = http_message(
            "POST http://host/form HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n", body);
        icap::client::scan_http_request record;
        record.request = request.get();
        std::shared_ptr<icap::response_message> answer;
        session_lease session(pool_);
        const ScanResult result = session->scan(record, answer);
        EXPECT_FALSE(session->is_invalid()) << body.size() << " bytes";
        return result;
    }
    /// Sizes around every boundary.
    static std::vector<std::size_t> sizes(std::size_t least)
    {
        const std::size_t preview = GetParam();
        std::vector<std::size_t> all{least, 4, 5, 67, 68, 69, 1000, 8191, 8192, 8200, 8200 + preview};
        if (preview > 0) {
            all.insert(all.end(), {preview - 1, preview, preview + 1, preview + 8191, preview + 8192, preview + 8193});
        }
        std::erase_if(all, [&](std::size_t size) { return size < least; });
        return all;
    }
    /// Returns content of that size that ends with the test file, if it fits.
    static std::string infected(std::size_t size)
    {
        return size < test_file.size() ? std::string(size, 'x') : std::string(size - test_file.size(), 'x') + test_file;
    }

    started_server server_{options()};
    std::shared_ptr<session_manager> pool_ = std::make_shared<session_manager>(
        icap::client::session_manager_parameters{L"127.0.0.1", server_.port(), L"/webscan"});
};

TEST_P(client_scans, mails_of_every_size)
{
    for (const std::size_t size : sizes(0)) {
        EXPECT_EQ(mail(std::string(size, 'x')), ScanResult::Clean) << size;
        EXPECT_EQ(mail(infected(size)), size < test_file.size() ? ScanResult::Clean : ScanResult::Blocked) << size;
    }
    EXPECT_EQ(mail(""), ScanResult::Clean);
    EXPECT_EQ(mail(infected(200000)), ScanResult::Blocked);
}

TEST_P(client_scans, blocked_and_repaired_mails_bring_a_body)
{
    std::string body;
    EXPECT_EQ(mail(test_file, &body), ScanResult::Blocked);
    EXPECT_TRUE(body.starts_with("<!DOCTYPE html>")) << body;
    EXPECT_EQ(mail("a" + service::repairable_test_text() + "b", &body), ScanResult::Repaired);
    EXPECT_EQ(body, "a[removed]b");
}

TEST_P(client_scans, health_and_certificates)
{
    session_lease session(pool_);
    icap::client::scan_health health;
    health.user_name = "S-1-1-0";
    health.health = "Is scanner available?";
    EXPECT_EQ(session->scan(health), ScanResult::Clean);
    icap::client::scan_certificate certificate;
    certificate.sni = "example.org";
    certificate.certificate_name = L"Example";
    EXPECT_EQ(session->scan(certificate), ScanResult::Clean);
    EXPECT_EQ(session->scan(health), ScanResult::Clean);
    EXPECT_FALSE(session->is_invalid());
}

TEST_P(client_scans, objects_of_every_size)
{
    const std::size_t preview = GetParam();
    for (const std::size_t size : sizes(0)) {
        EXPECT_EQ(object(std::string(size, 'x')), ScanResult::Clean) << size;
        // The client pads an object that is shorter than the preview with zeros. It also continues after a verdict on
        // the preview; it then has nothing to send and takes such an object to be clean.
        const bool seen = size >= test_file.size() && size >= preview;
        EXPECT_EQ(object(infected(size)), seen ? ScanResult::Blocked : ScanResult::Clean) << size;
        EXPECT_EQ(mail(test_file), ScanResult::Blocked) << "behind an object of " << size << " bytes";
    }
}

TEST_P(client_scans, objects_that_begin_like_framing)
{
    for (const std::string_view beginning : {"\r\n", "\r\n0\r\n\r\n", "0\r\n\r\n", ";", "abc", "\n"}) {
        std::string content(beginning);
        content.append(3000, '\n');
        EXPECT_EQ(object(content), ScanResult::Clean) << testing::PrintToString(beginning);
        EXPECT_EQ(object(content + test_file), ScanResult::Blocked) << testing::PrintToString(beginning);
    }
}

TEST_P(client_scans, http_responses_of_every_size)
{
    for (const std::size_t size : sizes(0)) {
        EXPECT_EQ(http_response(std::string(size, 'x')), ScanResult::Clean) << size;
        EXPECT_EQ(http_response(infected(size)), size < test_file.size() ? ScanResult::Clean : ScanResult::Blocked)
            << size;
    }
}

TEST_P(client_scans, http_requests_of_every_size)
{
    for (const std::size_t size : sizes(0)) {
        EXPECT_EQ(http_request(std::string(size, 'x')), ScanResult::Clean) << size;
        EXPECT_EQ(http_request(infected(size)), size < test_file.size() ? ScanResult::Clean : ScanResult::Blocked)
            << size;
    }
}

INSTANTIATE_TEST_SUITE_P(previews_of, client_scans, testing::Values(0, 1, 31, 1024),
                         [](const auto& instance) { return std::to_string(instance.param) + "_bytes"; });

} // namespace client_scans_test
