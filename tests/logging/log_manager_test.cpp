#include "logging/logging.h"
#include "tests/support/log_capture.h"
#include "tests/support/meeting_point.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>

namespace {

logging::log_manager& manager()
{
    return logging::log_manager::default_manager();
}

class raising_sink final : public logging::line_sink
{
public:
    void write(std::uint32_t /*level*/, std::string_view /*logger_name*/, std::string_view /*text*/) override
    {
        throw std::runtime_error("disk full");
    }
};

TEST(log_manager, makes_a_logger_of_each_name_once)
{
    auto& first = manager().get_logger("one of a kind");
    EXPECT_EQ(&first, &manager().get_logger("one of a kind"));
    EXPECT_NE(&first, &manager().get_logger("another"));
    EXPECT_EQ(first.name(), "one of a kind");
}

TEST(log_manager, knows_the_four_loggers_of_the_system)
{
    EXPECT_EQ(logging::outlook_log().name(), "outlook");
    EXPECT_EQ(logging::icapclnt_log().name(), "icapclnt");
    EXPECT_EQ(logging::icap_log().name(), "icap");
    EXPECT_EQ(logging::wpx_log().name(), "wpx");
    EXPECT_EQ(&logging::wpx_log(), &manager().get_logger("wpx"));
}

TEST(log_manager, gives_all_threads_the_same_logger)
{
    constexpr int thread_count = 8;
    test::meeting_point start(thread_count);
    std::vector<logging::logger*> seen(thread_count);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < thread_count; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            seen[i] = &manager().get_logger("fetched by many");
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(seen, std::vector<logging::logger*>(thread_count, &manager().get_logger("fetched by many")));
}

TEST(log_manager, is_disabled_while_nothing_would_be_kept)
{
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    {
        const test::log_capture log;
        EXPECT_NE(logging::log_manager::enabled_.load(), 0U);
    }
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    const test::log_capture deaf(0);
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U) << "a sink that keeps no level";
}

TEST(log_manager, enables_a_logger_up_to_the_highest_threshold_of_the_sinks)
{
    const test::log_capture coarse(300);
    EXPECT_TRUE(logging::outlook_log().enabled(300));
    EXPECT_FALSE(logging::outlook_log().enabled(301));
    {
        const test::log_capture fine(500);
        EXPECT_TRUE(logging::outlook_log().enabled(500));
    }
    EXPECT_FALSE(logging::outlook_log().enabled(500));
}

TEST(log_manager, gives_a_sink_without_a_limit_all_levels_below_the_one_that_means_off)
{
    const test::log_capture log(logging::priority::off + 1000);
    EXPECT_EQ(logging::log_manager::enabled_.load(), 599U);
    EXPECT_TRUE(logging::outlook_log().enabled(599));
    EXPECT_FALSE(logging::outlook_log().enabled(600));
    LOG_LINE(logging::outlook_log(), 599, "the finest");
    EXPECT_TRUE(log.contains("the finest"));
}

TEST(log_manager, gives_each_sink_the_lines_up_to_its_own_threshold)
{
    const test::log_capture coarse(300);
    const test::log_capture fine(500);
    LOG_LINE(logging::outlook_log(), 300, "decision");
    LOG_LINE(logging::outlook_log(), 500, "detail");
    EXPECT_EQ(coarse.texts(), std::vector<std::string>{"decision"});
    EXPECT_EQ(fine.texts(), (std::vector<std::string>{"decision", "detail"}));
}

TEST(log_manager, sets_the_threshold_of_a_logger_that_is_made_later)
{
    const test::log_capture log(400);
    auto& late = manager().get_logger("made while a capture was there");
    EXPECT_TRUE(late.enabled(400));
    EXPECT_FALSE(late.enabled(500));
}

TEST(log_manager, lets_a_threshold_be_lowered_by_hand)
{
    const test::log_capture log;
    logging::icap_log().threshold(200);
    LOG_LINE(logging::icap_log(), 500, "dropped");
    LOG_LINE(logging::icap_log(), 200, "kept");
    logging::icap_log().threshold(0);
    LOG_LINE(logging::icap_log(), 200, "dropped too");
    LOG_LINE(logging::wpx_log(), 500, "of another logger");
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"kept", "of another logger"}));
}

TEST(log_manager, passes_over_a_sink_that_raises)
{
    const auto bad = std::make_shared<raising_sink>();
    manager().add_sink(bad, 500);
    const test::log_capture log;
    LOG_LINE(logging::outlook_log(), 200, "told all the same");
    EXPECT_EQ(log.texts(), std::vector<std::string>{"told all the same"});
    manager().remove_sink(bad);
}

TEST(log_manager, takes_and_gives_back_sinks_while_threads_log)
{
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&stop] {
            while (!stop.load()) {
                LOG_LINE(logging::icapclnt_log(), 400, "busy");
            }
        });
    }
    for (int round = 0; round < 100; ++round) {
        const test::log_capture log;
        LOG_LINE(logging::outlook_log(), 400, "round " << round);
        EXPECT_EQ(log.texts("outlook"), std::vector<std::string>{"round " + std::to_string(round)});
    }
    stop.store(true);
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
}

} // namespace
