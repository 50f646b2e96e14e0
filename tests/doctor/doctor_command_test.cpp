#include "doctor/doctor_command.h"
#include "service/engine/scan_engine.h"
#include "service/scan_server.h"
#include "tests/doctor/doctor_run.h"
#include "tests/doctor/findings.h"
#include "tests/support/scripted_peer.h"

#include <ctime>
#include <functional>
#include <utility>

namespace doctor_command_test {

using namespace doctor;
using testing::AllOf;
using testing::HasSubstr;

/// Judges objects as the test specifies, and has signatures of that age.
class stand_in_engine final : public service::scan_engine
{
public:
    using judge = std::function<service::verdict(const std::string& bytes)>;

    stand_in_engine(judge decide, std::int64_t age)
        : decide_(std::move(decide))
        , age_(age)
    {}
    [[nodiscard]] std::string_view name() const noexcept override { return "standin"; }
    [[nodiscard]] std::string identity(service::stop_token /*stop*/) override { return "1"; }
    [[nodiscard]] service::engine_state probe(service::stop_token /*stop*/) override
    {
        return {"1", {}, {}, {}, {"version 1", std::time(nullptr) - age_}};
    }
    [[nodiscard]] std::unique_ptr<service::object_scan> begin(const service::object_info& /*info*/,
                                                              service::stop_token /*stop*/) override
    {
        return std::make_unique<scan>(*this);
    }

private:
    class scan final : public service::object_scan
    {
    public:
        explicit scan(stand_in_engine& owner)
            : owner_(owner)
        {}
        bool data(std::string_view piece) override
        {
            bytes_.append(piece);
            return true;
        }
        [[nodiscard]] service::verdict finish(web::io_data& /*object*/) override { return owner_.decide_(bytes_); }

    private:
        stand_in_engine& owner_;
        std::string bytes_;
    };

    judge decide_;
    std::int64_t age_;
};

service::verdict honest(const std::string& bytes)
{
    if (bytes.find("ANTIVIRUS-TEST-FILE") == std::string::npos) {
        return service::clean_verdict{};
    }
    return service::blocked_verdict{"Test-File"};
}

class doctor_command : public testing::Test
{
protected:
    /// Runs the rows of the service that judges by `decide`.
    doctor_run run_at(stand_in_engine::judge decide, std::vector<std::string> more = {}, std::int64_t age = 0)
    {
        options.custom_engine = std::make_shared<stand_in_engine>(std::move(decide), age);
        options.metrics_port = 0;
        service::scan_server server(options);
        server.start();
        more.insert(more.end(),
                    {"--port", std::to_string(server.port()), "--metrics-port", std::to_string(server.metrics_port())});
        return run_rows(service_rows, more);
    }

    service::server_options options;
};

TEST_F(doctor_command, is_content_with_a_service_that_judges)
{
    const doctor_run done = run_at(honest);
    EXPECT_EQ(done.status, 0) << done.out << done.err;
    EXPECT_THAT(done.state("options"), "ok");
    EXPECT_THAT(done.found("test-object"), HasSubstr("condemned as Test-File"));
    EXPECT_THAT(done.found("engines"), HasSubstr("standin version 1 (signatures 0 hours old)"));
}

TEST_F(doctor_command, warns_of_old_signatures)
{
    constexpr std::int64_t day = 86400;
    EXPECT_EQ(run_at(honest, {}, 8 * day).status, 1);
    EXPECT_EQ(run_at(honest, {"--signature-days", "9"}, 8 * day).status, 0);
}

TEST_F(doctor_command, fails_at_a_service_that_condemns_nothing)
{
    const doctor_run done = run_at([](const std::string&) { return service::clean_verdict{}; });
    EXPECT_EQ(done.status, 2);
    EXPECT_EQ(done.state("clean-object"), "ok");
    EXPECT_EQ(done.state("test-object"), "failed");
    EXPECT_THAT(done.remedy("test-object"), HasSubstr("Check the engines"));
}

TEST_F(doctor_command, fails_at_a_service_that_condemns_everything)
{
    const doctor_run done = run_at([](const std::string&) { return service::blocked_verdict{"All"}; });
    EXPECT_EQ(done.status, 2);
    EXPECT_EQ(done.state("clean-object"), "failed");
    EXPECT_EQ(done.state("test-object"), "ok");
}

TEST_F(doctor_command, fails_at_a_service_that_gives_no_verdict)
{
    const auto broken = [](const std::string&) { return service::error_verdict{"broken"}; };
    const doctor_run open = run_at(broken);
    EXPECT_EQ(open.status, 2);
    EXPECT_EQ(open.found("clean-object"), "the service gave no verdict");
    EXPECT_EQ(open.found("test-object"), "the service gave no verdict");
    options.policy.unreachable = service::treatment::block;
    const doctor_run blocked = run_at(broken);
    EXPECT_EQ(blocked.status, 2);
    EXPECT_THAT(blocked.found("clean-object"), HasSubstr("withheld without a verdict"));
    EXPECT_THAT(blocked.found("test-object"), HasSubstr("withheld without a verdict"));
}

TEST_F(doctor_command, fails_without_a_service)
{
    const auto port = std::to_string(test::loopback_socket::listen().port());
    const doctor_run done = run_rows(std::string("port,") + service_rows, {"--port", port, "--metrics-port", port});
    EXPECT_EQ(done.status, 2);
    EXPECT_THAT(done.found("port"), HasSubstr("connection refused"));
    EXPECT_THAT(done.remedy("port"), HasSubstr("Start the scanning service"));
    EXPECT_THAT(done.found("engines"), HasSubstr("connection refused"));
    EXPECT_THAT(done.remedy("engines"), HasSubstr("--metrics-port"));
}

TEST_F(doctor_command, does_not_wait_for_a_service_that_hangs)
{
    const auto listening = test::loopback_socket::listen(); // accepts connections and says nothing
    const auto port = std::to_string(listening.port());
    const doctor_run done = run_rows(service_rows, {"--port", port, "--metrics-port", port, "--timeout", "200"});
    EXPECT_EQ(done.status, 2);
    for (const char* const name : {"options", "clean-object", "test-object", "verdict-time", "engines"}) {
        EXPECT_EQ(done.state(name), "failed") << name;
    }
    EXPECT_THAT(done.found("options"), HasSubstr("within 200 ms"));
}

TEST_F(doctor_command, examines_the_rows_that_were_chosen)
{
    const doctor_run done = run_at(honest, {"--only", "verdict-time,options"});
    EXPECT_EQ(done.names(), (std::vector<std::string>{"options", "verdict-time"}));
}

TEST(doctor_options, are_refused_with_a_status_of_their_own)
{
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--unknown"},
                                                      {"word"},
                                                      {"--port", "0"},
                                                      {"--port", "65536"},
                                                      {"--port", "x"},
                                                      {"--timeout", "0"},
                                                      {"--signature-days", "0"},
                                                      {"--slow", "0"},
                                                      {"--only", "nothing"},
                                                      {"--host", "10.0.0.1"}}) {
        const doctor_run done = run_doctor(arguments);
        EXPECT_EQ(done.status, 3) << arguments[0];
        EXPECT_EQ(done.out, "") << arguments[0];
        EXPECT_THAT(done.err, AllOf(HasSubstr("postwarden: command line: "), HasSubstr("--help"))) << arguments[0];
    }
}

TEST(doctor_options, are_listed_within_80_columns)
{
    const doctor_run done = run_doctor({"--help"});
    EXPECT_EQ(done.status, 0);
    for (const char* const option : {"--host", "--port", "--uri", "--metrics-port", "--timeout", "--signature-days",
                                     "--slow", "--only", "--json", "--help", "--version", "Exit status: 0 all ok"}) {
        EXPECT_THAT(done.out, HasSubstr(option));
    }
    std::istringstream lines(done.out);
    for (std::string line; std::getline(lines, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
    EXPECT_EQ(run_doctor({"--version"}).out, "doctor 1.2.3\n");
}

} // namespace doctor_command_test
