// Lists, policies, notices and the verdict cache, changed while the server runs.

#include "tests/service/engine/given_engine.h"
#include "tests/service/engine/slow_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tests/support/temporary_folder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace changed_rules_test {

using namespace std::chrono_literals;
using service::treatment;
using test::started_server;
using test::wire_client;

/// A response with the object "x" or "bad", whose name is file.bin.
std::string download(const std::string& object)
{
    return test::object_request_head(object.size(), object.size()) +
           test::standard_preview(object, object.size(), true);
}

service::verdict judge(const std::string& object)
{
    if (object == "bad") {
        return service::blocked_verdict{"Some.Threat"};
    }
    if (object == "sealed") {
        return service::unchecked_verdict{"encrypted"};
    }
    return service::clean_verdict{};
}

class changed_rules : public testing::Test
{
protected:
    changed_rules() { options.custom_engine = engine; }

    /// Returns the name of the threat in the answer; "none" for 204.
    static std::string threat(wire_client& client, const std::string& object)
    {
        const test::answer reply = client.ask(download(object));
        const std::string found = reply.field("X-Infection-Found");
        const std::size_t name = found.find("Threat=") + 7;
        return reply.status() == 204 ? "none" : found.substr(name, found.find(';', name) - name);
    }
    static std::string tag(wire_client& client) { return client.ask(test::options_request()).field("ISTag"); }

    std::shared_ptr<test::given_engine> engine = std::make_shared<test::given_engine>(judge);
    service::server_options options;
    host::test::temporary_folder folder;
};

TEST_F(changed_rules, withhold_by_lists_that_were_added_and_taken_away)
{
    started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(threat(client, "x"), "none");
    options.lists.forbidden_names = {"*.bin"};
    server.server().reconfigure(options);
    EXPECT_EQ(threat(client, "x"), "Blocked.Name");
    options.lists.forbidden_names.clear();
    options.lists.forbidden_types = {"application/*"};
    server.server().reconfigure(options);
    EXPECT_EQ(threat(client, "x"), "Blocked.Type");
    options.lists.forbidden_types.clear();
    server.server().reconfigure(options);
    EXPECT_EQ(threat(client, "bad"), "Some.Threat");
    options.lists.ignored_threats = {"Some.*"};
    server.server().reconfigure(options);
    EXPECT_EQ(threat(client, "bad"), "none");
}

TEST_F(changed_rules, apply_to_requests_that_begin_later)
{
    started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::object_request_head(10, 4) + test::standard_preview("0123456789", 4)).status(), 100U);
    options.lists.forbidden_names = {"*.bin"};
    server.server().reconfigure(options);
    EXPECT_EQ(client.ask(test::chunk("456789") + "0\r\n\r\n").status(), 204U);
    EXPECT_EQ(threat(client, "x"), "Blocked.Name");
}

TEST_F(changed_rules, that_are_not_valid_change_nothing)
{
    options.lists.forbidden_names = {"*.bin"};
    started_server server(options);
    wire_client client = server.client();
    options.preview = 5;
    options.lists.forbidden_names = {"a/b"};
    EXPECT_THROW(server.server().reconfigure(options), std::invalid_argument);
    options.lists.forbidden_names.clear();
    options.notice_file = folder.write("notice.html", "{{#name}}").string();
    EXPECT_THROW(server.server().reconfigure(options), std::invalid_argument);
    options.notice_file += ".none";
    EXPECT_THROW(server.server().reconfigure(options), std::runtime_error);
    EXPECT_EQ(threat(client, "x"), "Blocked.Name");
    EXPECT_EQ(client.ask(test::options_request()).field("Preview"), "0");
}

TEST_F(changed_rules, take_another_notice_in_another_language)
{
    started_server server(options);
    wire_client client = server.client();
    EXPECT_NE(client.ask(download("bad")).object().find("Harmful content"), std::string::npos);
    options.language = service::notice_language::german;
    server.server().reconfigure(options);
    EXPECT_NE(client.ask(download("bad")).object().find("Inhalt wurde gefunden"), std::string::npos);
    options.notice_file = folder.write("notice.html", "1 {{threat}} {{label_name}}").string();
    server.server().reconfigure(options);
    EXPECT_EQ(client.ask(download("bad")).object(), "1 Some.Threat Name");
    folder.write("notice.html", "2 {{language}}");
    EXPECT_EQ(client.ask(download("bad")).object(), "1 Some.Threat Name"); // is read only then
    server.server().reconfigure(options);
    EXPECT_EQ(client.ask(download("bad")).object(), "2 de");
}

TEST_F(changed_rules, change_the_size_of_the_cache)
{
    options.cache_entries = 2;
    started_server server(options);
    wire_client client = server.client();
    (void)tag(client); // nothing is kept until the engine is known
    const auto scans = [&] {
        const int before = engine->scans();
        EXPECT_EQ(threat(client, "x"), "none");
        EXPECT_EQ(threat(client, "x"), "none");
        return engine->scans() - before;
    };
    EXPECT_EQ(scans(), 1);
    EXPECT_EQ(scans(), 0);
    options.preview = 1;
    server.server().reconfigure(options);
    EXPECT_EQ(scans(), 0); // other options keep its contents
    options.cache_entries = 0;
    server.server().reconfigure(options);
    EXPECT_EQ(scans(), 2);
    options.cache_entries = 1;
    server.server().reconfigure(options);
    EXPECT_EQ(scans(), 1);
    EXPECT_EQ(threat(client, "bad"), "Some.Threat");
    EXPECT_EQ(scans(), 1);
}

TEST_F(changed_rules, keep_the_cache)
{
    options.cache_entries = 2;
    started_server server(options);
    wire_client client = server.client();
    (void)tag(client);
    EXPECT_EQ(threat(client, "bad"), "Some.Threat");
    options.lists.ignored_threats = {"Some.*"};
    server.server().reconfigure(options);
    EXPECT_EQ(threat(client, "bad"), "none");
    options.lists.ignored_threats.clear();
    server.server().reconfigure(options);
    EXPECT_EQ(threat(client, "bad"), "Some.Threat");
    EXPECT_EQ(engine->scans(), 1);
}

TEST_F(changed_rules, change_the_tag)
{
    started_server server(options);
    wire_client client = server.client();
    const std::string first = tag(client);
    const auto changed = [&] {
        const std::string before = tag(client);
        server.server().reconfigure(options);
        const std::string now = client.ask(download("x")).field("ISTag");
        EXPECT_EQ(tag(client), now);
        EXPECT_LE(now.size(), 34U); // quotes included
        return now != before;
    };
    options.preview = 1;
    options.max_body = 1000;
    EXPECT_FALSE(changed());
    options.lists.forbidden_names = {"*.exe"};
    EXPECT_TRUE(changed());
    options.lists.forbidden_names = {"*.com"};
    EXPECT_TRUE(changed());
    options.lists.forbidden_names = {"*.com", "*.exe"};
    EXPECT_TRUE(changed());
    options.lists.forbidden_names = {"*.com*.exe"};
    EXPECT_TRUE(changed());
    options.lists.forbidden_names.clear();
    options.lists.forbidden_types = {"a/b"};
    EXPECT_TRUE(changed());
    options.lists.forbidden_types.clear();
    options.lists.ignored_threats = {"a/b"};
    EXPECT_TRUE(changed());
    EXPECT_FALSE(changed());
    options.policy.unreachable = treatment::block;
    EXPECT_TRUE(changed());
    options.policy = {treatment::pass, treatment::block};
    EXPECT_TRUE(changed());
    options.policy = {};
    options.lists.ignored_threats.clear();
    EXPECT_TRUE(changed());
    EXPECT_EQ(tag(client), first);
}

TEST_F(changed_rules, do_not_let_the_tag_of_a_newer_engine_vouch_for_an_older_verdict)
{
    std::uint16_t port = 0;
    bool changed = false;
    options.custom_engine = engine = std::make_shared<test::given_engine>([&](const std::string& object) {
        if (!std::exchange(changed, true)) {
            engine->set_identity("2");
            wire_client other(port);
            EXPECT_EQ(other.ask(test::options_request()).status(), 200U); // probes the engine
        }
        return judge(object);
    });
    const started_server server(options);
    port = server.port();
    wire_client client = server.client();
    const std::string before = tag(client);
    EXPECT_EQ(client.ask(download("x")).field("ISTag"), before);
    const std::string after = client.ask(download("x")).field("ISTag");
    EXPECT_NE(after, before);
    EXPECT_EQ(tag(client), after);
    options.custom_engine = engine = nullptr;
}

TEST_F(changed_rules, change_policies)
{
    started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(threat(client, "sealed"), "none");
    options.policy.unchecked = treatment::block;
    server.server().reconfigure(options);
    EXPECT_EQ(threat(client, "sealed"), "Unchecked.Content");
}

TEST_F(changed_rules, while_the_server_stops_serve_to_the_end)
{
    for (int i = 0; i < 20; ++i) {
        const auto slow = std::make_shared<test::slow_engine>();
        options.custom_engine = slow;
        options.probe_interval = 1ms;
        started_server server(options);
        wire_client scanning = server.client();
        scanning.send(test::mail_request(std::string(test::slow_engine::slow_size, 'x')));
        wire_client waiting = server.client();
        ASSERT_TRUE(slow->wait_for_scans(1));
        slow->hold_probes(true);
        waiting.send(test::options_request());
        options.custom_engine = i % 2 == 0 ? std::shared_ptr<service::scan_engine>(engine) : nullptr;
        options.lists.forbidden_names = {"*." + std::to_string(i)};
        server.server().reconfigure(options);
        server.server().stop();
        EXPECT_TRUE(scanning.closed_by_service());
    }
}

} // namespace changed_rules_test
