// The road to the real service: as a process of its own, and within this one with an engine that keeps what it gets.

#include "service/scan_engine.h"
#include "service/scan_server.h"
#include "tests/end_to_end/desk.h"
#include "tests/support/child_process.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_peer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <future>
#include <mutex>
#include <string>
#include <vector>

namespace {

using test::child_process;
using test::conversation;

/// A running postwarden-service.
class running_service
{
public:
    explicit running_service(const std::string& engine, std::uint16_t port = 0)
        : process_(POSTWARDEN_SERVICE, {"--engine", engine, "--port", std::to_string(port)})
    {
        const std::string expected = "listening on 127.0.0.1:";
        const std::string line = process_.read_line().value_or("");
        if (!line.starts_with(expected)) {
            throw std::runtime_error("the service did not start: " + line + process_.errors());
        }
        port_ = static_cast<std::uint16_t>(std::stoul(line.substr(expected.size())));
    }
    [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
    void end(int signal)
    {
        process_.kill(signal);
        if (!process_.wait()) {
            throw std::runtime_error("the service does not end");
        }
    }

private:
    child_process process_;
    std::uint16_t port_ = 0;
};

TEST(real_service, judges_bodies_and_attachments)
{
    const running_service service("builtin");
    test::desk desk(service.port());
    EXPECT_EQ(desk.open(test::plain_mail("Nothing special.")).verdict, ScanResult::Clean);
    EXPECT_EQ(desk.open(test::plain_mail(test::antivirus_test_file())).verdict, ScanResult::Blocked);
    EXPECT_EQ(desk.open(test::mail_with_attachment("See there.", "a.com", test::antivirus_test_file())).verdict,
              ScanResult::Blocked);
    EXPECT_EQ(desk.open(test::plain_mail(std::string("POSTWARDEN-") + "REPAIRABLE-TEST-PATTERN")).verdict,
              ScanResult::Repaired);
    EXPECT_EQ(desk.open(test::mail_with_attachment("See there.", "a.txt", "harmless")).verdict, ScanResult::Clean);
}

TEST(real_service, killed_during_a_scan_and_started_again_judges_the_next_message)
{
    // The engine's daemon tells its version and then sits on the object, so that the scan is under way for sure.
    std::vector<conversation> daemon(2);
    daemon[0].expect_until("zVERSION").send(std::string("ClamAV 1.0") + '\0').close();
    daemon[1].expect_until("zINSTREAM");
    const test::scripted_peer clamd(std::move(daemon));

    auto first = std::make_unique<running_service>("clamd:tcp:127.0.0.1:" + std::to_string(clamd.port()));
    const std::uint16_t port = first->port();
    const test::log_capture log;
    test::desk desk(port);
    auto opening = std::async(std::launch::async, [&desk] { return desk.open(test::plain_mail("Nothing special.")); });
    EXPECT_TRUE(clamd.wait_for_bytes(1, 10));
    first->end(SIGKILL);
    const auto interrupted = opening.get();
    EXPECT_EQ(interrupted.result, S_OK);
    EXPECT_FALSE(interrupted.blocked);
    EXPECT_TRUE(log.contains("release invalid session"));
    EXPECT_TRUE(log.contains("failed: send request timeout occured"));

    const running_service second("builtin", port);
    EXPECT_EQ(desk.open(test::plain_mail(test::antivirus_test_file())).verdict, ScanResult::Blocked);
}

TEST(real_service, gone_and_not_back_leaves_mail_unscanned_and_open)
{
    running_service service("builtin");
    test::desk desk(service.port());
    EXPECT_EQ(desk.open(test::plain_mail("Nothing special.")).verdict, ScanResult::Clean);
    service.end(SIGTERM);
    const test::log_capture log;
    const auto opened = desk.open(test::plain_mail(test::antivirus_test_file()));
    EXPECT_FALSE(opened.blocked);
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_EQ(opened.verdict, ScanResult::None);
    EXPECT_EQ(desk.link().breaks(), 1U); // no session could be had for the body, and there is nothing else to scan
}

/// Lets everything through and keeps it.
class keeping_engine final : public service::scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "keeping"; }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info&, std::stop_token) override
    {
        return std::make_unique<scan>(*this);
    }
    [[nodiscard]] std::string identity(std::stop_token) override { return "1"; }
    [[nodiscard]] std::vector<std::string> objects()
    {
        const std::lock_guard guard(lock_);
        return objects_;
    }

private:
    class scan final : public service::object_scan
    {
    public:
        explicit scan(keeping_engine& owner)
            : owner_(owner)
        {}
        bool data(std::string_view piece) override
        {
            text_.append(piece);
            return true;
        }
        [[nodiscard]] service::verdict finish(web::io_data&) override
        {
            const std::lock_guard guard(owner_.lock_);
            owner_.objects_.push_back(std::move(text_));
            return service::clean_verdict{};
        }

    private:
        keeping_engine& owner_;
        std::string text_;
    };

    std::mutex lock_;
    std::vector<std::string> objects_;
};

TEST(attachments, arrive_byte_for_byte_whatever_their_size)
{
    const auto engine = std::make_shared<keeping_engine>();
    service::server_options settings;
    settings.custom_engine = engine;
    service::scan_server server(settings);
    server.start();
    test::desk desk(server.port());
    std::vector<std::string> expected;
    for (const std::size_t size : {1U, 4095U, 4096U, 4097U, 131070U, 131071U, 1U << 20U}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i) {
            content[i] = static_cast<char>('!' + (i * 7 + i / 89) % 90);
        }
        EXPECT_EQ(desk.open(test::mail_with_attachment("Body", "a.bin", content)).verdict, ScanResult::Clean);
        expected.emplace_back("Body");
        expected.push_back(std::move(content));
    }
    EXPECT_EQ(engine->objects(), expected);
}

} // namespace
