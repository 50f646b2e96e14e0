// The command "postwarden doctor" beside the real service: exit statuses and rows as a monitor receives them.

#include "tests/end_to_end/running_service.h"
#include "tests/end_to_end/service_faults/clamd_stand_in.h"
#include "tests/support/loopback_socket.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <ctime>
#include <map>
#include <stdexcept>

namespace doctor_test {

using testing::HasSubstr;
using testing::Not;

struct examination
{
    int status = -1;
    std::string output;
    std::map<std::string, nlohmann::json> rows; ///< by name

    [[nodiscard]] std::string state(const std::string& name) const { return rows.at(name).at("state"); }
    [[nodiscard]] std::string found(const std::string& name) const { return rows.at(name).at("found"); }
    [[nodiscard]] std::string remedy(const std::string& name) const { return rows.at(name).at("remedy"); }
};

/// Runs the command. A machine that is loaded may take its time for a verdict.
examination examine(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"doctor", "--json", "--slow", "600000"});
    test::child_process program(POSTWARDEN, arguments);
    const auto end = program.wait();
    if (!end) {
        throw std::runtime_error("the command does not end");
    }
    examination result{end->code, program.output(), {}};
    if (!result.output.empty()) {
        const auto rows = nlohmann::json::parse(result.output).at("rows");
        for (const auto& row : rows) {
            result.rows[row.at("name")] = row;
        }
    }
    return result;
}

/// Returns the answer of clamd to the question for its version, with signatures of some days ago.
std::string version_with_signatures(int days)
{
    constexpr std::time_t seconds_a_day = 86400;
    const std::time_t made = std::time(nullptr) - days * seconds_a_day;
    std::string text = std::ctime(&made);
    text.pop_back(); // the line end
    return "ClamAV 1.4.1/27400/" + text;
}

/// Returns a free port, for the metrics of a service.
std::uint16_t free_port()
{
    return test::loopback_socket::listen().port();
}

class doctor : public testing::Test
{
protected:
    examination examine_service(const std::string& version)
    {
        clamd.set_version(version);
        const std::string metrics = std::to_string(free_port());
        const test::running_service service(0, {"--engine", clamd.engine(), "--metrics-port", metrics});
        return examine({"--port", std::to_string(service.port()), "--metrics-port", metrics});
    }

    test::clamd_stand_in clamd;
};

TEST_F(doctor, is_content_with_a_machine_that_is_protected)
{
    const examination done = examine_service(version_with_signatures(0));
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_THAT(done.found("port"), HasSubstr("postwarden-service, process "));
    EXPECT_THAT(done.found("engines"), HasSubstr("clamd ClamAV 1.4.1/27400/"));
    EXPECT_THAT(done.found("engines"), HasSubstr("(signatures 0 hours old)"));
    for (const char* const name : {"port", "options", "clean-object", "test-object", "verdict-time", "engines"}) {
        EXPECT_EQ(done.state(name), "ok") << name;
    }
}

TEST_F(doctor, warns_of_signatures_that_are_not_updated)
{
    const examination done = examine_service(version_with_signatures(9));
    EXPECT_EQ(done.status, 1) << done.output;
    EXPECT_EQ(done.state("engines"), "warning");
    EXPECT_THAT(done.found("engines"), HasSubstr("days old"));
    EXPECT_THAT(done.remedy("engines"), HasSubstr("Update the signatures"));
}

TEST_F(doctor, warns_of_a_service_without_a_real_engine)
{
    const test::running_service service;
    const examination done = examine({"--port", std::to_string(service.port())});
    EXPECT_EQ(done.status, 1) << done.output;
    EXPECT_EQ(done.state("test-object"), "ok");
    EXPECT_EQ(done.state("engines"), "warning");
    EXPECT_THAT(done.remedy("engines"), HasSubstr("--engine"));
}

TEST_F(doctor, fails_if_the_engine_is_gone)
{
    const test::running_service service(0, {"--engine", clamd.engine()});
    clamd.leave();
    const examination done = examine({"--port", std::to_string(service.port())});
    EXPECT_EQ(done.status, 2) << done.output;
    EXPECT_EQ(done.found("clean-object"), "the service gave no verdict");
    EXPECT_EQ(done.found("test-object"), "the service gave no verdict");
}

TEST_F(doctor, fails_if_a_list_lets_the_test_object_pass)
{
    const test::running_service service(0, {"--ignore-threat", "*"});
    const examination done = examine({"--port", std::to_string(service.port())});
    EXPECT_EQ(done.status, 2) << done.output;
    EXPECT_EQ(done.state("clean-object"), "ok");
    EXPECT_THAT(done.found("test-object"), HasSubstr("not condemned"));
}

TEST_F(doctor, fails_without_a_service)
{
    const examination done = examine({"--port", std::to_string(free_port())});
    EXPECT_EQ(done.status, 2);
    EXPECT_THAT(done.found("port"), HasSubstr("connection refused"));
    EXPECT_THAT(done.remedy("port"), HasSubstr("Start the scanning service"));
    EXPECT_THAT(done.output, Not(HasSubstr("\"state\":\"ok\"")));
}

TEST_F(doctor, ends_beside_a_service_that_hangs)
{
    const auto listening = test::loopback_socket::listen(); // takes connections and gives no answer
    const std::string port = std::to_string(listening.port());
    const examination done = examine({"--port", port, "--metrics-port", port, "--timeout", "300"});
    EXPECT_EQ(done.status, 2);
    EXPECT_THAT(done.found("port"), HasSubstr("is open"));
    EXPECT_THAT(done.found("options"), HasSubstr("300 ms"));
    EXPECT_EQ(done.state("test-object"), "failed");
    EXPECT_EQ(done.state("engines"), "failed");
}

TEST_F(doctor, lets_the_service_look_at_its_configuration)
{
    const host::test::temporary_folder folder;
    const auto check = [&](const std::string& text) {
        return examine({"--only", "configuration", "--config", folder.write("service.conf", text).string()});
    };
    const examination valid = check("port = 1345\n");
    EXPECT_EQ(valid.status, 0) << valid.output;
    EXPECT_EQ(valid.state("configuration"), "ok");
    const examination broken = check("porto = 1345\n");
    EXPECT_EQ(broken.status, 2) << broken.output;
    EXPECT_THAT(broken.found("configuration"), HasSubstr("porto"));
    const examination missing = examine({"--only", "configuration", "--config", "/nowhere/service.conf"});
    EXPECT_EQ(missing.state("configuration"), "not_applicable");
    const examination unable = examine({"--only", "configuration", "--config", folder.write("a.conf", "").string(),
                                        "--service-program", "/nowhere/program"});
    EXPECT_EQ(unable.status, 2);
    EXPECT_THAT(unable.found("configuration"), HasSubstr("/nowhere/program cannot be run"));
}

TEST_F(doctor, has_a_status_of_its_own_for_an_invalid_command_line)
{
    test::child_process program(POSTWARDEN, {"doctor", "--nothing"});
    const auto end = program.wait();
    ASSERT_TRUE(end);
    EXPECT_EQ(end->code, 3);
    EXPECT_THAT(program.errors(), HasSubstr("--nothing"));
}

} // namespace doctor_test
