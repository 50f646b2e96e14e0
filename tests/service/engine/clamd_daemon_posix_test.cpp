#include "service/engine/builtin_engine.h"
#include "service/scan_server.h"
#include "tests/service/engine/clamd_daemon.h"
#include "tests/service/engine/icap_upstream.h"
#include "tests/service/engine/zip_writer.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tool/icap/response_message.h"
#include "tool/icap_client/session_manager.h"
#include "tool/system/base64.h"
#include "tool/web/body_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace clamd_daemon_posix_test {

using test::answer;
using test::clamd_daemon;
using test::wire_client;
using test::zip_archive;
using test::zip_method;
using test::icap_upstream::described;
using test::icap_upstream::judged;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::size_t stream_limit = 1U << 20U;
const std::string test_file = service::antivirus_test_text();

std::string base64_lines(std::string_view bytes)
{
    std::string text;
    for (; bytes.size() > 57; bytes.remove_prefix(57)) {
        text += winapi::base64::encode(bytes.substr(0, 57)) + "\r\n";
    }
    text += winapi::base64::encode(bytes);
    return text + "\r\n";
}

/// One clamd for all tests, and one server for each test.
class clamd : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        try {
            daemon_ = std::make_unique<clamd_daemon>();
        } catch (const std::exception& failure) {
            GTEST_FAIL() << failure.what();
        }
    }
    static void TearDownTestSuite() { daemon_.reset(); }

    void SetUp() override
    {
        ASSERT_NE(daemon_, nullptr) << "there is no clamd to test with";
        service::server_options options;
        options.engines = {daemon_->engine()};
        server_.emplace(options);
    }

    answer scanned(std::string_view object) { return server_->client().ask(test::mail_request(object)); }
    void expect_found(std::string_view object)
    {
        const answer reply = scanned(object);
        EXPECT_EQ(reply.status(), 200U);
        EXPECT_THAT(reply.field("X-Infection-Found"), StartsWith("Type=0;Resolution=2;Threat=Test.File-1"));
        EXPECT_THAT(reply.object(), HasSubstr("Test.File-1"));
    }

    static std::unique_ptr<clamd_daemon> daemon_;
    std::optional<test::started_server> server_;
};

std::unique_ptr<clamd_daemon> clamd::daemon_;

TEST_F(clamd, finds_what_its_database_knows)
{
    expect_found(test_file);
    expect_found("ahead of it " + test_file + " and behind it");
    expect_found(std::string(stream_limit - test_file.size(), ' ') + test_file);
}

TEST_F(clamd, clears_what_its_database_does_not_know)
{
    EXPECT_EQ(scanned("harmless").status(), 204U);
    EXPECT_EQ(scanned("").status(), 204U);
    EXPECT_EQ(scanned(std::string(stream_limit, 'x')).status(), 204U);
    EXPECT_EQ(scanned(test_file.substr(1)).status(), 204U);
    EXPECT_EQ(scanned(zip_archive("harmless.txt", "harmless", zip_method::deflated)).status(), 204U);
}

TEST_F(clamd, looks_into_archives)
{
    const std::string filling(50000, 'x');
    for (const zip_method method : {zip_method::stored, zip_method::deflated}) {
        const std::string archive = zip_archive("file.txt", filling + test_file, method);
        if (method == zip_method::deflated) {
            ASSERT_EQ(archive.find(test_file), std::string::npos);
        }
        expect_found(archive);
    }
    expect_found(
        zip_archive("outer.zip", zip_archive("inner.txt", test_file, zip_method::deflated), zip_method::deflated));
}

TEST_F(clamd, looks_into_the_attachments_of_a_mail)
{
    const std::string archive = zip_archive("file.txt", test_file, zip_method::deflated);
    const std::string mail =
        "Received: from a.example.org by b.example.org; Sat, 21 Nov 2026 09:00:00 +0000\r\n"
        "From: Ada <ada@example.org>\r\nTo: Ben <ben@example.org>\r\nSubject: Figures\r\nMIME-Version: 1.0\r\n"
        "Content-Type: multipart/mixed; boundary=\"line\"\r\n\r\n--line\r\nContent-Type: text/plain\r\n\r\nHello\r\n"
        "--line\r\nContent-Type: application/zip; name=\"file.zip\"\r\nContent-Transfer-Encoding: base64\r\n"
        "Content-Disposition: attachment; filename=\"file.zip\"\r\n\r\n";
    expect_found(mail + base64_lines(archive) + "--line--\r\n");
    EXPECT_EQ(scanned(mail + base64_lines(zip_archive("file.txt", "harmless", zip_method::deflated)) + "--line--\r\n")
                  .status(),
              204U);
}

TEST_F(clamd, leaves_unchecked_what_is_longer_than_it_takes)
{
    const auto engine = service::make_engine(daemon_->engine());
    for (const std::string& object : {std::string(stream_limit + 1, 'x'), std::string(4 * stream_limit, 'x'),
                                      std::string(stream_limit, 'x') + test_file}) {
        EXPECT_EQ(described(judged(*engine, object)), "unchecked: larger than the limit of clamd");
    }
    // Such an object is answered like a clean one.
    EXPECT_EQ(scanned(std::string(4 * stream_limit, 'x')).status(), 204U);
    // The server continues to serve.
    expect_found(test_file);
}

TEST_F(clamd, gives_the_tag_of_its_version)
{
    wire_client client = server_->client();
    const std::string early = client.ask(test::mail_request("x")).field("ISTag");
    const std::string told = client.ask(test::options_request()).field("ISTag");
    EXPECT_THAT(told, StartsWith("\"clamd-"));
    EXPECT_NE(told, early);
    EXPECT_EQ(client.ask(test::options_request()).field("ISTag"), told);
    EXPECT_EQ(client.ask(test::mail_request("x")).field("ISTag"), told);
}

TEST_F(clamd, judges_many_objects_at_once)
{
    std::vector<std::thread> threads;
    std::vector<std::uint32_t> statuses(16);
    for (std::size_t i = 0; i < statuses.size(); ++i) {
        threads.emplace_back([&, i] {
            statuses[i] = scanned(std::string(i * 10000, 'x') + (i % 2 == 0 ? test_file : "harmless")).status();
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < statuses.size(); ++i) {
        EXPECT_EQ(statuses[i], i % 2 == 0 ? 200U : 204U) << i;
    }
}

TEST_F(clamd, judges_for_the_real_client)
{
    const auto pool = std::make_shared<icap::client::session_manager>(
        icap::client::session_manager_parameters{L"127.0.0.1", server_->port(), L"/webscan"});
    const auto mailed = [&](const std::string& content) {
        icap::client::scan_mail record;
        record.type = icap::client::content_type::attachment;
        record.attach_name = "file.zip";
        std::shared_ptr<web::io_data> data = web::make_body_store(content.size());
        data->append(content.data(), content.size());
        record.data = data;
        std::shared_ptr<icap::response_message> reply;
        icap::client::session_lease session(pool);
        const ScanResult result = session->scan(record, reply);
        return std::make_pair(result, session->is_invalid());
    };
    EXPECT_EQ(mailed(zip_archive("file.txt", test_file, zip_method::deflated)),
              std::make_pair(ScanResult::Blocked, false));
    EXPECT_EQ(mailed(zip_archive("file.txt", "harmless", zip_method::deflated)),
              std::make_pair(ScanResult::Clean, false));
    EXPECT_EQ(mailed(std::string(2 * stream_limit, 'x')), std::make_pair(ScanResult::Clean, false));
    pool->terminate();
}

TEST(clamd_gone, clears_nothing)
{
    std::optional<clamd_daemon> daemon;
    try {
        daemon.emplace();
    } catch (const std::exception& failure) {
        GTEST_FAIL() << failure.what();
    }
    service::server_options options;
    options.engines = {daemon->engine()};
    const test::started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::mail_request("harmless")).status(), 204U);
    const std::string istag = client.ask(test::options_request()).field("ISTag");
    daemon->end();
    EXPECT_EQ(client.ask(test::mail_request("harmless")).status(), 500U);
    EXPECT_EQ(client.ask(test::options_request()).field("ISTag"), istag);
}

} // namespace clamd_daemon_posix_test
