// What the machine refuses to the service: disk, memory, descriptors, threads, and a clock that goes evenly.

#include "tests/end_to_end/service_faults/clamd_stand_in.h"
#include "tests/end_to_end/service_faults/process_fixture.h"
#include "tests/support/child_process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <future>
#include <string>
#include <vector>

namespace process_faults_test {

using test::conduct;
using testing::HasSubstr;

constexpr std::size_t large = 300000;

class faults_of_a_machine : public test::service_process
{
protected:
    /// The program that starts the service with its objects in a temporary folder.
    [[nodiscard]] static std::vector<std::string> with_temporary_files_in(const std::string& place)
    {
        return {"/usr/bin/env", "TMPDIR=" + place};
    }
};

TEST_F(faults_of_a_machine, a_temporary_folder_that_goes_leaves_large_mail_unscanned_until_it_is_back)
{
    const std::filesystem::path place = folder.path() / "temporary";
    std::filesystem::create_directory(place);
    start({"--memory-body", "100000"}, with_temporary_files_in(place.string()));
    EXPECT_EQ(open_large(large).verdict, ScanResult::Blocked);
    std::filesystem::remove_all(place);
    expect_unscanned(open_large(large));
    expect_error_line("requests are refused: their objects cannot be kept: ");
    expect_next_is_right(); // small mail needs no file
    std::filesystem::create_directory(place);
    EXPECT_EQ(open_large(large).verdict, ScanResult::Blocked);
}

TEST_F(faults_of_a_machine, a_temporary_folder_that_is_none_leaves_large_mail_unscanned)
{
    const auto place = folder.write("file", "no folder");
    start({"--memory-body", "100000"}, with_temporary_files_in(place.string()));
    expect_unscanned(open_large(large));
    expect_error_line("requests are refused: their objects cannot be kept: ");
    expect_next_is_right();
}

TEST_F(faults_of_a_machine, a_full_disk_leaves_large_mail_unscanned)
{
    // No file may grow beyond 64 blocks; without the signal, which would end the service, a write fails as on a full
    // disk.
    start({"--memory-body", "100000"}, {"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 64; exec \"$0\" \"$@\""});
    expect_unscanned(open_large(large));
    expect_error_line("requests are refused: their objects cannot be kept: ");
    expect_next_is_right();
}

TEST_F(faults_of_a_machine, a_log_on_a_full_device_keeps_nothing_from_its_verdict)
{
    start({"--log", "/dev/full", "--log-level", "500"});
    expect_next_is_right();
    EXPECT_EQ(open_large(large).verdict, ScanResult::Blocked);
    expect_next_is_right();
}

TEST_F(faults_of_a_machine, a_log_that_cannot_be_written_ends_the_start_with_the_reason)
{
    const auto no_folder = folder.write("file", "no folder");
    test::child_process refused(POSTWARDEN_SERVICE, {"--port", "0", "--log", (no_folder / "log").string()});
    EXPECT_EQ(refused.wait(), (test::child_process::exit_status{1, 0})) << refused.errors();
    EXPECT_THAT(refused.errors(), HasSubstr("postwarden-service: "));
    start({});
    expect_next_is_right();
}

TEST_F(faults_of_a_machine, killed_within_an_opening_and_started_again_judges_the_next_one)
{
    test::clamd_stand_in daemon;
    start({"--engine", daemon.engine()});
    constexpr std::uint32_t patience = 5000; // the reader waits until then for an answer that cannot come
    reader = test::reader_at(service->port(), patience);
    expect_next_is_right();
    daemon.behave(conduct::silent);
    auto opening = std::async(std::launch::async, [this] { return test::open_condemned(*reader); });
    ASSERT_TRUE(daemon.wait_for_objects(3));
    const std::uint16_t port = service->port();
    service->end(SIGKILL);
    expect_unscanned(opening.get());
    EXPECT_TRUE(log.contains("release invalid session"));
    daemon.behave(conduct::honest);
    service.emplace(port, std::vector<std::string>{"--engine", daemon.engine()});
    expect_next_is_right();
}

TEST_F(faults_of_a_machine, a_configuration_that_is_invalid_at_a_signal_changes_nothing_while_mail_is_opened)
{
    test::clamd_stand_in daemon;
    const auto file = folder.write("service.conf", "engine = \"" + daemon.engine() + "\"\n");
    start({"--config", file.string()});
    daemon.behave(conduct::silent);
    auto opening = std::async(std::launch::async, [this] { return test::open_condemned(*reader); });
    ASSERT_TRUE(daemon.wait_for_objects(1));
    folder.write("service.conf", "engine = \"nobody\"\n");
    service->send(SIGHUP);
    expect_error_line("the configuration was not read again: ");
    // The opening under way ends with its engine, and the same engine judges the next one.
    daemon.leave();
    expect_unscanned(opening.get());
    expect_error_line(") could not judge an object: connection closed without an answer");
    daemon.behave(conduct::honest);
    daemon.come_back();
    expect_next_is_right();
    EXPECT_TRUE(daemon.wait_for_objects(3));
    folder.write("service.conf", "engine = \"builtin\"\n");
    service->send(SIGHUP);
    expect_error_line("the configuration was read again: engine");
    expect_next_is_right();
}

} // namespace process_faults_test
