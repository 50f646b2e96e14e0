// How the program ends when it cannot write, or is asked to stop: its exit status, and what it leaves behind.

#include "tests/desk/cli/cli_fixture.h"
#include "tests/support/child_process.h"
#include "tests/support/scripted_peer.h"

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <future>
#include <sys/stat.h>
#include <thread>
#include <utility>

namespace host::test {
namespace {

using ::test::child_process;
using testing::HasSubstr;

struct ended
{
    child_process::exit_status status;
    std::string out;
    std::string err;
};

/// Runs a line of bash in which $P is the program. The network library makes this process ignore closed pipes, which
/// a child would inherit.
ended shell(const std::string& line)
{
    child_process child("/usr/bin/env",
                        {"--default-signal=PIPE", "/bin/bash", "-c", "set -o pipefail; P='" POSTWARDEN "'; " + line});
    ended result;
    const auto status = child.wait();
    EXPECT_TRUE(status.has_value());
    result.status = status.value_or(child_process::exit_status{});
    result.out = child.output();
    result.err = child.errors();
    return result;
}

class Output : public testing::Test
{
protected:
    temporary_folder folder;
    std::string mail = folder.write("a.eml", "Subject: a\n\nfine\n").string();
    std::string settings = folder.write("settings.json", "{}").string();
};

TEST_F(Output, ThatCannotBeWrittenEndsEveryCommandWithAnError)
{
    for (const std::string& arguments :
         {"open " + mail, "open --json " + mail, "scan " + mail, "scan --json " + mail, "settings show " + settings,
          "settings show --json " + settings, std::string("open --help"), std::string("--version")}) {
        const ended result = shell("$P " + arguments + " > /dev/full");
        EXPECT_EQ(1, result.status.code) << arguments;
        EXPECT_EQ("postwarden: standard output: No space left on device\n", result.err) << arguments;
    }
    const ended doctor = shell("$P doctor --help > /dev/full");
    EXPECT_EQ(3, doctor.status.code) << "its statuses 1 and 2 are about the machine";
    EXPECT_THAT(doctor.err, HasSubstr("standard output: No space left on device\n"));
    EXPECT_EQ(1, shell("$P open " + mail + " >&-").status.code);
}

TEST_F(Output, ThatCannotBeWrittenEndsTheRunAtOnce)
{
    const ended result = shell("$P open --times 1000000 " + mail + " > /dev/full");
    EXPECT_EQ(1, result.status.code);
    EXPECT_EQ(1U, lines_of(result.err).size());
}

TEST_F(Output, ToAClosedPipeEndsTheRunAsTheSystemDoes)
{
    for (const char* form : {"", "--json "}) {
        const ended result = shell("$P open --times 1000000 " + std::string(form) + mail + " | head -1");
        EXPECT_EQ(128 + SIGPIPE, result.status.code);
        EXPECT_EQ("", result.err);
        EXPECT_EQ(1U, lines_of(result.out).size());
    }
    const ended told = shell("trap '' PIPE; $P open --times 1000000 " + mail + " | head -1");
    EXPECT_EQ(1, told.status.code) << "a program that is started so learns of it by an error";
    EXPECT_THAT(told.err, HasSubstr("standard output: Broken pipe\n"));
}

TEST_F(Output, ToALogThatCannotBeWrittenEndsTheRunAtOnce)
{
    const ended full = shell("$P open --times 1000000 --log /dev/full " + mail);
    EXPECT_EQ(1, full.status.code);
    EXPECT_THAT(full.err, HasSubstr("postwarden: /dev/full: "));
    const ended refused = shell("$P open --log /proc/none/log.txt " + mail);
    EXPECT_EQ(1, refused.status.code);
    EXPECT_EQ("", refused.out);
    EXPECT_EQ(1U, lines_of(refused.err).size()) << refused.err;
}

/// A service that answers no object.
::test::conversation silent_service()
{
    const std::string end = "\r\nISTag: \"x\"\r\nEncapsulated: null-body=0\r\n\r\n";
    ::test::conversation made;
    made.expect_until("\r\n\r\n").send("ICAP/1.0 200 OK\r\nMethods: REQMOD" + end);
    made.expect_until("HTTP/1.1\r\n\r\n").send("ICAP/1.0 204 No Content" + end);
    made.wait();
    return made;
}

class Stop : public Output
{
protected:
    /// Starts the program with a temporary folder of its own, and waits until it waits for an answer.
    std::unique_ptr<child_process> start_waiting(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.end(), {"--port", std::to_string(peer.port()), mail});
        auto child = start(std::move(arguments));
        wait_for_object();
        return child;
    }
    std::unique_ptr<child_process> start(std::vector<std::string> arguments) const
    {
        std::filesystem::create_directories(passing());
        arguments.insert(arguments.begin(), {"TMPDIR=" + passing().string(), POSTWARDEN});
        return std::make_unique<child_process>("/usr/bin/env", arguments);
    }
    void wait_for_object() const
    {
        EXPECT_TRUE(within_limit([&] { return peer.received(0).find("POST http") != std::string::npos; }));
    }
    template <typename Condition>
    static bool within_limit(Condition&& met)
    {
        for (int i = 0; i < 6000; ++i) {
            if (met()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }
    /// Writes to a named pipe as soon as somebody reads it.
    [[nodiscard]] std::future<void> write_to_pipe(const std::string& pipe, std::string text) const
    {
        EXPECT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
        return std::async(std::launch::async, [pipe, text = std::move(text)] { std::ofstream(pipe) << text; });
    }
    std::filesystem::path passing() const { return folder.path() / "passing"; }

    ::test::scripted_peer peer{{silent_service()}};
};

TEST_F(Stop, GivesUpTheMessageAtHandAndLeavesNothing)
{
    const auto to = folder.path() / "to";
    const auto child = start_waiting({"open", "--save", to.string(), "--reopen"});
    ASSERT_TRUE(child->kill(SIGINT));
    EXPECT_EQ((child_process::exit_status{130, 0}), child->wait());
    EXPECT_EQ("postwarden: stopped after 0 of 1 messages; the next one was given up\n", child->errors());
    EXPECT_TRUE(std::filesystem::is_empty(to));
    EXPECT_TRUE(std::filesystem::is_empty(passing()));
}

TEST_F(Stop, DeletesTheTemporaryFolderOfCopies)
{
    const auto child = start_waiting({"open", "--reopen"});
    EXPECT_FALSE(std::filesystem::is_empty(passing())) << "it is there while the program runs";
    ASSERT_TRUE(child->kill(SIGTERM));
    EXPECT_EQ((child_process::exit_status{143, 0}), child->wait());
    EXPECT_TRUE(std::filesystem::is_empty(passing()));
}

TEST_F(Stop, EndsAtOnceWithTheSecondSignalAndLeavesNothing)
{
    const auto child = start_waiting({"open", "--reopen"});
    ASSERT_TRUE(child->kill(SIGINT));
    ASSERT_TRUE(child->kill(SIGTERM));
    EXPECT_EQ((child_process::exit_status{0, SIGTERM}), child->wait());
    EXPECT_TRUE(std::filesystem::is_empty(passing()));
}

TEST_F(Stop, DeletesTheSettingsOfAStream)
{
    const std::string pipe = (folder.path() / "pipe").string();
    const auto written =
        write_to_pipe(pipe, R"({"ServerPort":{"value":)" + std::to_string(peer.port()) + R"(,"isSet":true}})");
    const auto child = start({"open", "--settings", pipe, mail});
    wait_for_object();
    EXPECT_FALSE(std::filesystem::is_empty(passing())) << "they are read again with each look at them";
    ASSERT_TRUE(child->kill(SIGINT));
    EXPECT_EQ((child_process::exit_status{130, 0}), child->wait());
    EXPECT_TRUE(std::filesystem::is_empty(passing()));
}

TEST_F(Stop, DoesNotTakeASignalThatWasIgnoredBefore)
{
    std::filesystem::create_directory(passing());
    const std::string port = std::to_string(peer.port());
    child_process child("/bin/bash", {"-c", "trap '' INT; exec " POSTWARDEN " open --port " + port + " " + mail});
    wait_for_object();
    ASSERT_TRUE(child.kill(SIGINT));
    ASSERT_TRUE(child.kill(SIGTERM));
    EXPECT_EQ((child_process::exit_status{143, 0}), child.wait()) << "SIGTERM was the first one";
}

TEST_F(Stop, EndsTheWaitForSettings)
{
    const std::string pipe = (folder.path() / "pipe").string();
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    const auto child = start({"open", "--settings", pipe, mail});
    ASSERT_TRUE(child->kill(SIGTERM));
    const auto status = child->wait();
    ASSERT_TRUE(status);
    EXPECT_TRUE(status->code == 143 || status->signal == SIGTERM) << "by the signal itself if it comes early";
}

/// Text with settings that take so long to read that a signal arrives meanwhile.
std::string long_settings()
{
    return std::string(std::size_t{60} << 20U, ' ') + "{}";
}

TEST_F(Stop, LeavesNothingOfSettings)
{
    const auto to = folder.path() / "to";
    std::filesystem::create_directory(to);
    const std::string blob = (to / "settings.blob").string();
    constexpr int attempts = 20;
    bool stopped_while_reading = false;
    for (int i = 0; i < attempts && !stopped_while_reading; ++i) {
        const std::string pipe = (folder.path() / ("pipe" + std::to_string(i))).string();
        const auto written = write_to_pipe(pipe, long_settings());
        const auto child = start({"settings", "make", "--json", pipe, blob});
        ASSERT_TRUE(within_limit([&] { return !std::filesystem::is_empty(passing()) || child->has_ended(); }));
        child->kill(SIGSTOP);
        stopped_while_reading = !std::filesystem::is_empty(passing());
        child->kill(SIGINT);
        child->kill(SIGCONT);
        const auto status = child->wait();
        ASSERT_TRUE(status);
        EXPECT_TRUE(*status == (child_process::exit_status{0, SIGINT}) || status->code == 0) << status->code;
        EXPECT_TRUE(std::filesystem::is_empty(passing()));
        for (const auto& entry : std::filesystem::directory_iterator(to)) {
            EXPECT_EQ(blob, entry.path().string());
            EXPECT_EQ(0, command({"settings", "show", blob}).status);
        }
    }
    EXPECT_TRUE(stopped_while_reading);
}

TEST_F(Stop, FinishesTheFileAtHandOfAScan)
{
    std::vector<std::string> arguments{"scan", "--json"};
    constexpr std::size_t files = 10000;
    arguments.insert(arguments.end(), files, mail);
    const auto child = start(arguments);
    ASSERT_TRUE(child->read_line());
    ASSERT_TRUE(child->kill(SIGTERM));
    EXPECT_EQ((child_process::exit_status{143, 0}), child->wait());
    const auto lines = lines_of(child->output());
    EXPECT_LT(lines.size(), files);
    EXPECT_EQ("postwarden: stopped after " + std::to_string(lines.size()) + " files\n", child->errors());
    for (const std::string& line : lines) {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
    }
}

TEST_F(Stop, GivesUpTheConnectionOfAScan)
{
    ::test::scripted_peer mute({::test::conversation().wait()});
    const auto child = start({"scan", "--port", std::to_string(mute.port()), mail});
    ASSERT_TRUE(mute.wait_for_bytes(0, 1));
    ASSERT_TRUE(child->kill(SIGINT));
    EXPECT_EQ((child_process::exit_status{130, 0}), child->wait());
    EXPECT_EQ("postwarden: stopped after 0 files; the next one was given up\n", child->errors());
}

TEST_F(Stop, GivesUpTheFileAtHandOfAScan)
{
    const std::string damaged = folder.write("damaged.txt", repairable_text()).string();
    ::test::scripted_peer silent(
        {::test::conversation()
             .expect_until("\r\n\r\n")
             .send("ICAP/1.0 200 OK\r\nMethods: REQMOD\r\nISTag: \"x\"\r\nEncapsulated: null-body=0\r\n\r\n")
             .wait()});
    const auto child = start(
        {"scan", "--repaired-to", (passing() / "repaired").string(), "--port", std::to_string(silent.port()), damaged});
    ASSERT_TRUE(within_limit([&] { return silent.received(0).find("POST http") != std::string::npos; }));
    ASSERT_TRUE(child->kill(SIGTERM));
    EXPECT_EQ((child_process::exit_status{143, 0}), child->wait());
    EXPECT_EQ("postwarden: stopped after 0 files; the next one was given up\n", child->errors());
    EXPECT_EQ("", child->output());
    EXPECT_TRUE(std::filesystem::is_empty(passing()));
}

TEST_F(Stop, FinishesTheMessageAtHand)
{
    const auto to = folder.path() / "to";
    std::filesystem::create_directory(folder.path() / "many");
    for (int i = 0; i < 3; ++i) {
        folder.write("many/" + std::to_string(i) + ".eml", "Subject: a\n\nfine\n");
    }
    child_process child(
        POSTWARDEN, {"open", "--json", "--save", to.string(), "--times", "1000000", (folder.path() / "many").string()});
    ASSERT_TRUE(child.read_line());
    ASSERT_TRUE(child.kill(SIGTERM));
    EXPECT_EQ((child_process::exit_status{143, 0}), child.wait());
    EXPECT_EQ("postwarden: stopped after 0 of 3 messages\n", child.errors());
    for (const std::string& line : lines_of(child.output())) {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
    }
    std::size_t copies = 0;
    for (const auto& entry : std::filesystem::directory_iterator(to)) {
        EXPECT_EQ("0.eml", entry.path().filename());
        EXPECT_NE(0U, entry.file_size());
        ++copies;
    }
    EXPECT_EQ(1U, copies);
}

TEST_F(Stop, EndsTheWaitForAnInputAndKeepsWhatWasDone)
{
    const auto page = folder.path() / "page.html";
    const auto pipe = (folder.path() / "pipe").string();
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    child_process child(POSTWARDEN, {"open", "--json", "--report", page.string(), mail, pipe});
    ASSERT_TRUE(child.read_line());
    ASSERT_TRUE(child.kill(SIGINT));
    EXPECT_EQ((child_process::exit_status{130, 0}), child.wait());
    EXPECT_EQ("postwarden: stopped after 1 messages\n", child.errors());
    EXPECT_TRUE(std::filesystem::exists(page));
}

TEST_F(Stop, EndsTheWaitForAnObject)
{
    const auto pipe = (folder.path() / "pipe").string();
    ASSERT_EQ(0, ::mkfifo(pipe.c_str(), 0600));
    child_process child(POSTWARDEN, {"scan", "--json", "--port", std::to_string(peer.port()), pipe});
    ASSERT_TRUE(within_limit([&] { return peer.received(0).find("OPTIONS") != std::string::npos; }));
    ASSERT_TRUE(child.kill(SIGINT));
    EXPECT_EQ((child_process::exit_status{130, 0}), child.wait());
    EXPECT_EQ("postwarden: stopped after 0 files\n", child.errors());
}

} // namespace
} // namespace host::test
