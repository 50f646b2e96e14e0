// An engine that never waits is fed while an object arrives.

#include "service/early_scan.h"
#include "service/engine/builtin_engine.h"
#include "tests/service/requests.h"
#include "tests/service/started_server.h"
#include "tool/web/body_store.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>

namespace early_scan_test {

using namespace service;
using test::started_server;
using test::wire_client;

/// Claims to be quick up to `most` bytes. Condemns what contains "bad"; a "throw" makes it fail.
class quick_engine final : public scan_engine
{
public:
    explicit quick_engine(std::uint64_t most)
        : most_(most)
    {}

    [[nodiscard]] std::string_view name() const noexcept override { return "quick"; }
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info& info, stop_token) override
    {
        announced_ = info.size;
        ++begun_;
        return std::make_unique<scan>(*this);
    }
    [[nodiscard]] bool is_quick(std::uint64_t size) const noexcept override { return size <= most_; }
    [[nodiscard]] std::string identity(stop_token) override { return "1"; }

    std::uint64_t announced_ = 0;
    int begun_ = 0;
    std::string seen_;

private:
    class scan final : public object_scan
    {
    public:
        explicit scan(quick_engine& owner)
            : owner_(owner)
        {}
        bool data(std::string_view piece) override
        {
            owner_.seen_.append(piece);
            if (owner_.seen_.find("throw") != std::string::npos) {
                throw std::runtime_error("no");
            }
            if (owner_.seen_.find("number") != std::string::npos) {
                throw 1;
            }
            return owner_.seen_.find("bad") == std::string::npos;
        }
        [[nodiscard]] verdict finish(web::io_data&) override
        {
            const bool bad = owner_.seen_.find("bad") != std::string::npos;
            return bad ? verdict(blocked_verdict{"Bad"}) : verdict(clean_verdict{});
        }

    private:
        quick_engine& owner_;
    };

    std::uint64_t most_;
};

std::unique_ptr<web::io_data> empty_store()
{
    return web::make_body_store(0);
}

TEST(early_scan, needs_no_further_byte_after_the_engine_has_enough)
{
    quick_engine engine(100);
    early_scan scan(engine.begin({{}, 9}, {}));
    scan.feed("");
    scan.feed("abad");
    scan.feed("more");
    EXPECT_EQ(engine.seen_, "abad");
    EXPECT_TRUE(std::holds_alternative<blocked_verdict>(scan.finish(*empty_store())));
}

TEST(early_scan, keeps_a_failure_of_the_engine_as_its_verdict)
{
    quick_engine engine(100);
    early_scan scan(engine.begin({{}, 9}, {}));
    scan.feed("throw");
    scan.feed("bad");
    const verdict outcome = scan.finish(*empty_store());
    ASSERT_TRUE(std::holds_alternative<error_verdict>(outcome));
    EXPECT_EQ(std::get<error_verdict>(outcome).why, "no");
}

TEST(early_scan, keeps_a_failure_of_an_unknown_kind_too)
{
    quick_engine engine(100);
    early_scan scan(engine.begin({{}, 9}, {}));
    scan.feed("number");
    const verdict outcome = scan.finish(*empty_store());
    ASSERT_TRUE(std::holds_alternative<error_verdict>(outcome));
    EXPECT_EQ(std::get<error_verdict>(outcome).why, "unknown failure of the engine");
}

class early_scan_served : public testing::Test
{
protected:
    started_server served(std::uint64_t most)
    {
        engine_ = std::make_shared<quick_engine>(most);
        server_options options;
        options.custom_engine = engine_;
        return started_server(options);
    }

    std::shared_ptr<quick_engine> engine_;
};

TEST_F(early_scan_served, sees_every_byte_of_the_object_once_and_its_size)
{
    const started_server server = served(20);
    wire_client client = server.client();
    client.send(test::object_request_head(20, 4) + test::bare_preview("0123456789abcdefghij", 4));
    EXPECT_EQ(client.read_answer().status(), 100U);
    EXPECT_EQ(client.ask(test::chunk("456789") + test::chunk("abcdefghij") + std::string(test::end_mark)).status(),
              204U);
    EXPECT_EQ(engine_->seen_, "0123456789abcdefghij");
    EXPECT_EQ(engine_->announced_, 20U);
    EXPECT_EQ(engine_->begun_, 1);
}

TEST_F(early_scan_served, does_not_see_the_padding_of_a_preview)
{
    const started_server server = served(20);
    EXPECT_EQ(server.client().ask(test::object_request_head(3, 8) + test::bare_preview("abc", 8)).status(), 204U);
    EXPECT_EQ(engine_->seen_, "abc");
}

TEST_F(early_scan_served, condemns_what_the_engine_condemns)
{
    const started_server server = served(20);
    EXPECT_EQ(server.client().ask(test::mail_request("a bad one")).status(), 200U);
    EXPECT_EQ(engine_->begun_, 1);
}

TEST_F(early_scan_served, answers_500_if_the_engine_fails)
{
    const started_server server = served(20);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::mail_request("throw")).status(), 500U);
    engine_->seen_.clear();
    EXPECT_EQ(client.ask(test::mail_request("fine")).status(), 204U);
}

TEST_F(early_scan_served, scans_a_larger_object_when_it_is_complete)
{
    const started_server server = served(5);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::mail_request("a bad one")).status(), 200U);
    EXPECT_EQ(engine_->begun_, 1);
    EXPECT_EQ(engine_->seen_, "a bad one");
}

TEST_F(early_scan_served, is_subject_to_lists_and_policies)
{
    engine_ = std::make_shared<quick_engine>(20);
    server_options options;
    options.custom_engine = engine_;
    options.lists.ignored_threats = {"B?d"};
    options.policy.unreachable = treatment::block;
    started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::mail_request("a bad one")).status(), 204U);
    EXPECT_EQ(client.ask(test::mail_request("a bad one", "")).object(), "a bad one");
    EXPECT_EQ(engine_->begun_, 2);
    engine_->seen_.clear();
    EXPECT_EQ(client.ask(test::mail_request("throw")).field("X-Infection-Found"),
              "Type=0;Resolution=2;Threat=Unchecked.NoEngine;");
    engine_->seen_.clear();
    options.lists.forbidden_names = {"*.BIN"};
    server.server().reconfigure(options);
    const std::string download = test::object_request_head(3, 3) + test::standard_preview("bad", 3, true);
    EXPECT_EQ(client.ask(download).field("X-Infection-Found"), "Type=0;Resolution=2;Threat=Blocked.Name;");
    EXPECT_EQ(client.ask(test::mail_request("fine")).status(), 204U);
}

TEST_F(early_scan_served, is_not_fed_with_an_object_of_another_engine)
{
    engine_ = std::make_shared<quick_engine>(20);
    const auto other = std::make_shared<quick_engine>(20);
    server_options options;
    options.custom_engine = engine_;
    started_server server(options);
    wire_client client = server.client();
    EXPECT_EQ(client.ask(test::object_request_head(7, 4) + test::standard_preview("so bad!", 4)).status(), 100U);
    options.custom_engine = other;
    server.server().reconfigure(options);
    EXPECT_EQ(client.ask(test::chunk("ad!") + std::string(test::end_mark)).status(), 200U);
    EXPECT_EQ(engine_->seen_, "so bad!");
    EXPECT_EQ(other->begun_, 0);
    EXPECT_EQ(client.ask(test::mail_request("fine")).status(), 204U);
    EXPECT_EQ(other->seen_, "fine");
}

} // namespace early_scan_test
