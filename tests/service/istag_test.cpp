#include "service/istag.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace {

using namespace service;

class named_engine final : public scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "test"; }
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info&, service::stop_token) override
    {
        return nullptr;
    }
    [[nodiscard]] std::string identity(service::stop_token) override
    {
        ++asked;
        return version;
    }
    std::string version = "1";
    int asked = 0;
};

class changing_engine final : public scan_engine
{
public:
    [[nodiscard]] std::string_view name() const noexcept override { return "test"; }
    [[nodiscard]] std::unique_ptr<object_scan> begin(const object_info&, service::stop_token) override
    {
        return nullptr;
    }
    [[nodiscard]] std::string identity(service::stop_token) override { return now.identity; }
    [[nodiscard]] engine_state probe(service::stop_token) override { return now; }
    engine_state now;
};

TEST(istag, begins_a_generation_whenever_verdicts_may_have_changed)
{
    const auto engine = std::make_shared<changing_engine>();
    istag tag(engine, service::stop_token());
    EXPECT_EQ(tag.generation(), 0U);
    engine->now = {"", "gone"};
    tag.refresh();
    EXPECT_EQ(tag.generation(), 0U);
    engine->now = {"1", ""};
    tag.refresh();
    std::uint64_t last = tag.generation();
    EXPECT_NE(last, 0U);
    const auto grows = [&](const char* identity, const char* fault) {
        engine->now = {identity, fault};
        tag.refresh();
        return tag.generation() > std::exchange(last, tag.generation());
    };
    EXPECT_FALSE(grows("1", ""));
    EXPECT_TRUE(grows("2", ""));
    EXPECT_TRUE(grows("1", ""));
    EXPECT_FALSE(grows("1", "gone"));
    EXPECT_FALSE(grows("1", "still gone"));
    EXPECT_TRUE(grows("1", "")) << "it may have been configured anew";
    EXPECT_TRUE(grows("2", "gone"));
    engine->now = {"", ""};
    tag.refresh();
    EXPECT_EQ(tag.generation(), 0U);
    engine->now = {"2", ""};
    tag.refresh();
    EXPECT_GT(tag.generation(), last);
}

TEST(istag, is_a_quoted_text_that_follows_the_engines_identity)
{
    const auto engine = std::make_shared<named_engine>();
    istag tag(engine, service::stop_token());
    const std::string first = tag.refresh();
    EXPECT_EQ(first.front(), '"');
    EXPECT_EQ(first.back(), '"');
    EXPECT_EQ(first.find("test-"), 1U);
    EXPECT_LE(first.size(), 34U);
    EXPECT_EQ(tag.refresh(), first);
    engine->version = "2";
    const std::string second = tag.refresh();
    EXPECT_NE(second, first);
    engine->version = "1";
    EXPECT_EQ(tag.refresh(), first);
}

TEST(istag, keeps_its_state_when_a_probe_is_interrupted)
{
    const auto engine = std::make_shared<named_engine>();
    service::stop_source stop;
    istag tag(engine, stop.get_token());
    const std::string known = tag.refresh();
    engine->version = "2";
    stop.request_stop();
    EXPECT_EQ(tag.refresh(), known);
    EXPECT_EQ(tag.current(), known);
    EXPECT_EQ(tag.state().identity, "1");
}

TEST(istag, asks_the_engine_only_to_refresh)
{
    const auto engine = std::make_shared<named_engine>();
    istag tag(engine, service::stop_token());
    const std::string early = tag.current();
    EXPECT_EQ(early.find("\"test-"), 0U);
    EXPECT_EQ(engine->asked, 0);
    const std::string fresh = tag.refresh();
    EXPECT_EQ(engine->asked, 1);
    engine->version = "2";
    EXPECT_EQ(tag.current(), fresh);
    EXPECT_EQ(engine->asked, 1);
}

} // namespace
