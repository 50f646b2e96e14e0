// Objects about which there is no verdict, over the wire.

#include "tests/service/engine/given_engine.h"
#include "tests/service/engine/slow_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/log_capture.h"
#include "tool/icap_client/session_manager.h"
#include "tool/web/body_store.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>

namespace policy_test {

using namespace std::chrono_literals;
using service::treatment;
using test::answer;
using test::started_server;
using test::wire_client;
using testing::HasSubstr;
using testing::Not;

/// Why there is no verdict.
enum class fear
{
    fault,     ///< the engine reports one
    exception, ///< the engine throws
    deadline,
    unchecked,
    too_large
};

constexpr std::string_view secret = "connect: 192.0.2.7:3310 refused";
const std::string large(test::slow_engine::slow_size, 'x');

bool concerns_engine(fear what)
{
    return what == fear::fault || what == fear::exception || what == fear::deadline;
}

std::string_view threat_of(fear what)
{
    switch (what) {
    case fear::deadline:
        return "Unchecked.Timeout";
    case fear::unchecked:
        return "Unchecked.Content";
    case fear::too_large:
        return "Unchecked.Size";
    default:
        return "Unchecked.NoEngine";
    }
}

std::string_view reason_of(fear what)
{
    switch (what) {
    case fear::deadline:
        return "The scan took too long.";
    case fear::unchecked:
        return "The scanner cannot look into it; it may be encrypted, damaged or packed too deeply.";
    case fear::too_large:
        return "It is larger than the scanner accepts.";
    default:
        return "The scanner is not available at present.";
    }
}

service::verdict judge(fear what, const std::string& object)
{
    if (object != large) {
        return service::clean_verdict{};
    }
    switch (what) {
    case fear::fault:
        return service::error_verdict{std::string(secret)};
    case fear::exception:
        throw std::runtime_error(std::string(secret));
    case fear::unchecked:
        return service::unchecked_verdict{std::string(secret)};
    default:
        return service::clean_verdict{};
    }
}

service::server_options options_for(fear what, treatment unreachable, treatment unchecked)
{
    service::server_options options;
    options.policy = {unreachable, unchecked};
    if (what == fear::deadline) {
        options.custom_engine = std::make_shared<test::slow_engine>();
        options.scan_timeout = 100ms;
    } else {
        options.custom_engine =
            std::make_shared<test::given_engine>([what](const std::string& object) { return judge(what, object); });
    }
    if (what == fear::too_large) {
        options.max_body = large.size() - 1;
    }
    return options;
}

/// The name is "a<b>.txt".
std::string request(std::string_view body, bool attachment, std::string_view allow = "Allow: 204\r\n")
{
    std::string fields(allow);
    fields += attachment ? "X-Mail-Type: 2\r\nX-Mail-Attach-Name: YTxiPi50eHQ=\r\n"
                         : "X-Mail-Type: 1\r\nX-Mail-Attach-Name: \r\n";
    const std::string head =
        "POST http://check_mail?tag=t HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n";
    return test::reqmod_head(head, fields) + test::chunk(body) + std::string(test::end_mark);
}

class policy_over_the_wire : public testing::TestWithParam<std::tuple<fear, bool, bool, bool>>
{
protected:
    [[nodiscard]] static fear what() { return std::get<0>(GetParam()); }
    [[nodiscard]] static treatment unreachable() { return chosen(std::get<1>(GetParam())); }
    [[nodiscard]] static treatment unchecked() { return chosen(std::get<2>(GetParam())); }
    [[nodiscard]] static bool attachment() { return std::get<3>(GetParam()); }
    [[nodiscard]] static bool blocks()
    {
        return (concerns_engine(what()) ? unreachable() : unchecked()) == treatment::block;
    }
    /// The status when the object passes.
    [[nodiscard]] static std::uint32_t usual_status()
    {
        return concerns_engine(what()) ? 500 : what() == fear::too_large ? 413 : 204;
    }

private:
    [[nodiscard]] static treatment chosen(bool block) { return block ? treatment::block : treatment::pass; }
};

TEST_P(policy_over_the_wire, decides_what_takes_the_place_of_the_object)
{
    const test::log_capture log;
    const started_server server(options_for(what(), unreachable(), unchecked()));
    wire_client client = server.client();
    EXPECT_EQ(client.ask(request("x", attachment())).status(), 204U);
    const answer reply = client.ask(request(large, attachment()));
    const std::string shown = attachment() ? "a<b>.txt" : "";
    if (!blocks()) {
        EXPECT_EQ(reply.status(), usual_status());
        EXPECT_EQ(reply.field("X-Infection-Found"), "");
        EXPECT_EQ(reply.object(), "");
        EXPECT_FALSE(log.contains("withheld"));
    } else {
        EXPECT_EQ(reply.status(), 200U);
        EXPECT_EQ(reply.field("X-Infection-Found"),
                  "Type=0;Resolution=2;Threat=" + std::string(threat_of(what())) + ";");
        const std::string page = reply.object();
        EXPECT_THAT(page, HasSubstr("<h1>Content that could not be checked was removed</h1>"));
        EXPECT_THAT(page, HasSubstr("<td>" + std::string(reason_of(what())) + "</td>"));
        EXPECT_THAT(page, Not(HasSubstr("Harmful content")));
        EXPECT_THAT(page, Not(HasSubstr("192.0.2.7")));
        EXPECT_EQ(page.find("<td>a&lt;b&gt;.txt</td>") != std::string::npos, attachment());
        EXPECT_TRUE(log.contains(") withheld '" + shown + "': " + std::string(threat_of(what()))));
    }
    if (what() == fear::too_large) {
        EXPECT_EQ(reply.field("Connection"), "close");
        EXPECT_TRUE(client.closed_by_service());
    } else {
        EXPECT_TRUE(log.contains(what() == fear::unchecked ? ") could not check '" + shown + "': "
                                                           : ") could not judge an object: "));
        EXPECT_EQ(reply.field("Connection"), "keep-alive");
        EXPECT_EQ(client.ask(request("x", attachment())).status(), 204U);
    }
}

std::string parameters_shown(const testing::TestParamInfo<policy_over_the_wire::ParamType>& instance)
{
    const auto& [what, unreachable, unchecked, attachment] = instance.param;
    constexpr const char* fears[] = {"fault", "exception", "deadline", "unchecked", "too_large"};
    return std::string(fears[static_cast<int>(what)]) + (unreachable ? "_block" : "_pass") +
           (unchecked ? "_block" : "_pass") + (attachment ? "_attachment" : "_body");
}

INSTANTIATE_TEST_SUITE_P(of, policy_over_the_wire,
                         testing::Combine(testing::Values(fear::fault, fear::exception, fear::deadline, fear::unchecked,
                                                          fear::too_large),
                                          testing::Bool(), testing::Bool(), testing::Bool()),
                         parameters_shown);

/// What the mail client makes of the answer.
ScanResult scanned(const started_server& server, std::string_view body, icap::client::content_type type)
{
    const auto pool = std::make_shared<icap::client::session_manager>(
        icap::client::session_manager_parameters{L"127.0.0.1", server.port(), L"/webscan"});
    icap::client::scan_mail record;
    record.type = type;
    record.tag = "t";
    std::shared_ptr<web::io_data> store = web::make_body_store(body.size());
    store->append(body.data(), body.size());
    record.data = store;
    std::shared_ptr<icap::response_message> reply;
    ScanResult result = ScanResult::None;
    {
        icap::client::session_lease session(pool);
        result = session->scan(record, reply);
    }
    pool->terminate();
    return result;
}

TEST(policy, makes_the_mail_client_take_the_object_out)
{
    for (const auto type : {icap::client::content_type::body, icap::client::content_type::attachment}) {
        for (const fear what : {fear::fault, fear::deadline, fear::unchecked, fear::too_large}) {
            const started_server passing(options_for(what, treatment::pass, treatment::pass));
            EXPECT_NE(scanned(passing, large, type), ScanResult::Blocked) << threat_of(what);
            const started_server blocking(options_for(what, treatment::block, treatment::block));
            EXPECT_EQ(scanned(blocking, large, type), ScanResult::Blocked) << threat_of(what);
            EXPECT_EQ(scanned(blocking, "x", type), ScanResult::Clean) << threat_of(what);
        }
    }
}

TEST(policy, returns_an_unchecked_object_to_a_peer_that_does_not_allow_204)
{
    const started_server server(options_for(fear::unchecked, treatment::pass, treatment::pass));
    const answer reply = server.client().ask(request(large, true, ""));
    EXPECT_EQ(reply.status(), 200U);
    EXPECT_EQ(reply.field("X-Infection-Found"), "");
    EXPECT_EQ(reply.object(), large);
}

TEST(policy, does_not_concern_the_health_and_requests_that_are_wrong)
{
    const auto engine = std::make_shared<test::slow_engine>();
    engine->set_state("1", "gone");
    service::server_options options;
    options.custom_engine = engine;
    options.policy = {treatment::block, treatment::block};
    const started_server server(options);
    EXPECT_EQ(server.client().ask(test::health_request()).status(), 500U);
    EXPECT_EQ(server.client().ask("nonsense\r\n\r\n").status(), 400U);
    EXPECT_EQ(server.client().ask(test::reqmod_head("POST / HTTP/1.1\r\nContent-Length: 1\r\n\r\n") + "x\r\n").status(),
              400U);
}

TEST(policy, does_not_block_because_the_service_stops)
{
    const test::log_capture log;
    const auto engine = std::make_shared<test::slow_engine>();
    service::server_options options;
    options.custom_engine = engine;
    options.policy = {treatment::block, treatment::block};
    started_server server(options);
    wire_client client = server.client();
    client.send(test::mail_request(large));
    ASSERT_TRUE(engine->wait_for_scans(1));
    server.server().stop();
    EXPECT_TRUE(client.closed_by_service());
    EXPECT_FALSE(log.contains("withheld"));
}

} // namespace policy_test
