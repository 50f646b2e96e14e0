// The whole logic with the real service: in a separate process, and in this one with an engine that keeps its objects.

#include "service/scan_server.h"
#include "tests/end_to_end/desk.h"
#include "tests/end_to_end/keeping_engine.h"
#include "tests/end_to_end/running_service.h"
#include "tests/support/log_capture.h"
#include "tests/support/scripted_peer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <future>
#include <string>
#include <vector>

namespace {

using test::conversation;
using test::running_service;

TEST(real_service, judges_bodies_and_attachments)
{
    const running_service service;
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
    // The engine's daemon reports its version and then never answers for the object, so that the scan is in progress.
    std::vector<conversation> daemon(2);
    daemon[0].expect_until("zVERSION").send(std::string("ClamAV 1.0") + '\0').close();
    daemon[1].expect_until("zINSTREAM");
    const test::scripted_peer clamd(std::move(daemon));

    auto first = std::make_unique<running_service>(
        0, std::vector<std::string>{"--engine", "clamd:tcp:127.0.0.1:" + std::to_string(clamd.port())});
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

    const running_service second(port);
    EXPECT_EQ(desk.open(test::plain_mail(test::antivirus_test_file())).verdict, ScanResult::Blocked);
}

TEST(real_service, gone_and_not_back_leaves_mail_unscanned_and_open)
{
    running_service service;
    test::desk desk(service.port());
    EXPECT_EQ(desk.open(test::plain_mail("Nothing special.")).verdict, ScanResult::Clean);
    service.end(SIGTERM);
    const test::log_capture log;
    const auto opened = desk.open(test::plain_mail(test::antivirus_test_file()));
    EXPECT_FALSE(opened.blocked);
    EXPECT_EQ(opened.result, S_OK);
    EXPECT_EQ(opened.verdict, ScanResult::None);
    EXPECT_EQ(desk.link().breaks(), 1U); // there was no session for the body, and there is nothing else to scan
}

TEST(attachments, arrive_byte_for_byte_whatever_their_size)
{
    const auto engine = std::make_shared<test::keeping_engine>();
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
