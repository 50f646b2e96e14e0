#include "service/engine/builtin_engine.h"
#include "service/scan_server.h"
#include "tests/service/engine/c_icap_daemon.h"
#include "tests/service/engine/clamd_daemon.h"
#include "tests/service/engine/icap_upstream.h"
#include "tests/service/engine/zip_writer.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace c_icap_daemon_posix_test {

using test::c_icap_daemon;
using test::clamd_daemon;
using test::zip_archive;
using test::zip_method;
using test::icap_upstream::described;
using test::icap_upstream::judged;
using testing::HasSubstr;
using testing::StartsWith;

const std::string test_file = service::antivirus_test_text();

/// One c-icap and one clamd for all tests, and one engine for each test.
class c_icap : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        try {
            clamd_ = std::make_unique<clamd_daemon>("100M");
            daemon_ = std::make_unique<c_icap_daemon>(clamd_->socket());
        } catch (const std::exception& failure) {
            GTEST_FAIL() << failure.what();
        }
    }
    static void TearDownTestSuite()
    {
        daemon_.reset();
        clamd_.reset();
    }
    void SetUp() override { ASSERT_NE(daemon_, nullptr) << "there is no c-icap to test with"; }

    static std::string outcome(service::scan_engine& engine, std::string_view object)
    {
        return described(judged(engine, object));
    }

    static std::unique_ptr<clamd_daemon> clamd_;
    static std::unique_ptr<c_icap_daemon> daemon_;
};

std::unique_ptr<clamd_daemon> c_icap::clamd_;
std::unique_ptr<c_icap_daemon> c_icap::daemon_;

TEST_F(c_icap, clears_what_its_echo_service_returns)
{
    const auto engine = service::make_engine(daemon_->engine("echo"));
    EXPECT_EQ(engine->probe({}).fault, "");
    EXPECT_THAT(engine->identity({}), StartsWith("echo CI0001-"));
    for (const std::size_t size : {0U, 1U, 1023U, 1024U, 1025U, 65536U, 5000000U}) {
        EXPECT_EQ(outcome(*engine, std::string(size, 'x')), "clean") << size;
    }
}

TEST_F(c_icap, finds_what_the_database_of_its_clamd_knows)
{
    const auto engine = service::make_engine(daemon_->engine("avscan"));
    EXPECT_EQ(engine->probe({}).fault, "");
    EXPECT_EQ(outcome(*engine, test_file), "blocked: Test.File-1.UNOFFICIAL");
    EXPECT_EQ(outcome(*engine, std::string(100000, ' ') + test_file), "blocked: Test.File-1.UNOFFICIAL");
    EXPECT_EQ(outcome(*engine, zip_archive("file.txt", std::string(50000, 'x') + test_file, zip_method::deflated)),
              "blocked: Test.File-1.UNOFFICIAL");
    EXPECT_EQ(outcome(*engine, "harmless"), "clean");
    EXPECT_EQ(outcome(*engine, ""), "clean");
    EXPECT_EQ(outcome(*engine, std::string(3000000, 'x')), "clean");
    EXPECT_EQ(outcome(*engine, zip_archive("file.txt", "harmless", zip_method::deflated)), "clean");
}

TEST_F(c_icap, is_a_fault_without_the_service)
{
    const auto engine = service::make_engine(daemon_->engine("none"));
    EXPECT_EQ(engine->probe({}).fault, "options: status 404");
    EXPECT_EQ(outcome(*engine, "harmless"), "error: options: status 404");
}

TEST_F(c_icap, judges_many_objects_at_once)
{
    const auto engine = service::make_engine(daemon_->engine("avscan"));
    std::vector<std::thread> threads;
    std::vector<std::string> outcomes(8);
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        threads.emplace_back([&, i] {
            for (int round = 0; round < 5; ++round) {
                outcomes[i] = outcome(*engine, std::string(i * 10000, 'x') + (i % 2 == 0 ? test_file : "harmless"));
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        EXPECT_EQ(outcomes[i], i % 2 == 0 ? "blocked: Test.File-1.UNOFFICIAL" : "clean") << i;
    }
}

TEST_F(c_icap, judges_behind_the_service)
{
    service::server_options options;
    options.engines = {daemon_->engine("avscan")};
    const test::started_server server(options);
    EXPECT_EQ(server.client().ask(test::mail_request("harmless")).status(), 204U);
    const test::answer found = server.client().ask(test::mail_request(test_file));
    EXPECT_EQ(found.status(), 200U);
    EXPECT_THAT(found.field("X-Infection-Found"), HasSubstr("Threat=Test.File-1"));
    EXPECT_THAT(server.client().ask(test::options_request()).field("ISTag"), StartsWith("\"icap-"));
}

TEST(c_icap_gone, clears_nothing)
{
    std::unique_ptr<c_icap_daemon> daemon;
    try {
        daemon = std::make_unique<c_icap_daemon>("");
    } catch (const std::exception& failure) {
        GTEST_FAIL() << failure.what();
    }
    const auto engine = service::make_engine(daemon->engine("echo"));
    // Keeps no connection, so that the daemon ends at once.
    EXPECT_EQ(service::make_engine(daemon->engine("echo"))->probe({}).fault, "");
    daemon->end();
    EXPECT_THAT(described(judged(*engine, "harmless")), StartsWith("error: connect: "));
    EXPECT_THAT(engine->probe({}).fault, StartsWith("connect: "));
}

} // namespace c_icap_daemon_posix_test
