#include "logging/logging.h"
#include "tests/support/log_capture.h"
#include "tool/system/conversions.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <stdexcept>
#include <thread>

namespace {

TEST(log_line, reaches_a_sink_with_level_logger_and_text)
{
    const test::log_capture log;
    LOG_LINE(logging::wpx_log(), 500, "read " << 17 << " bytes, attached = " << true);
    EXPECT_EQ(log.lines(), (std::vector<test::log_record>{{500, "wpx", "read 17 bytes, attached = 1"}}));
}

TEST(log_line, builds_nothing_when_no_sink_is_installed)
{
    int evaluated = 0;
    EXPECT_EQ(logging::log_manager::enabled_.load(), 0U);
    LOG_LINE(logging::outlook_log(), 200, "value " << ++evaluated);
    EXPECT_EQ(evaluated, 0);
}

TEST(log_line, does_not_even_look_at_the_logger_when_logging_is_off)
{
    bool fetched = false;
    const auto fetch = [&fetched]() -> logging::logger& {
        fetched = true;
        return logging::outlook_log();
    };
    LOG_LINE(fetch(), 200, "text");
    EXPECT_FALSE(fetched);
}

TEST(log_line, builds_nothing_above_the_threshold)
{
    const test::log_capture log(400);
    int evaluated = 0;
    LOG_LINE(logging::outlook_log(), 500, "value " << ++evaluated);
    EXPECT_EQ(evaluated, 0);
    LOG_LINE(logging::outlook_log(), 400, "value " << ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(log.texts(), std::vector<std::string>{"value 1"});
}

TEST(log_line, keeps_each_of_the_four_levels_and_never_the_one_that_means_off)
{
    const test::log_capture log(logging::priority::off);
    for (const std::uint32_t level : {200U, 300U, 400U, 500U, 599U, 600U, 700U}) {
        LOG_LINE(logging::icap_log(), level, "at " << level);
    }
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"at 200", "at 300", "at 400", "at 500", "at 599"}));
}

TEST(log_line, does_not_carry_manipulators_into_the_next_line)
{
    const test::log_capture log;
    LOG_LINE(logging::outlook_log(), 200, "error=0x" << std::hex << 255 << std::setw(4) << std::setfill('0') << 7);
    LOG_LINE(logging::outlook_log(), 200, "size " << 255);
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"error=0xff0007", "size 255"}));
}

TEST(log_line, can_hold_commas_of_a_template_and_line_ends)
{
    const test::log_capture log;
    LOG_LINE(logging::outlook_log(), 200, "pair " << std::pair<int, int>(1, 2).second << "\r\nmore");
    EXPECT_EQ(log.texts(), std::vector<std::string>{"pair 2\r\nmore"});
}

TEST(log_line, may_be_the_only_statement_of_a_branch)
{
    const test::log_capture log;
    const bool first = log.texts().empty();
    if (first)
        LOG_LINE(logging::outlook_log(), 200, "then");
    else
        LOG_LINE(logging::outlook_log(), 200, "else");
    EXPECT_EQ(log.texts(), std::vector<std::string>{"then"});
}

TEST(log_line, is_one_unit_when_many_threads_log)
{
    constexpr int thread_count = 4;
    constexpr int line_count = 250;
    const test::log_capture log;
    std::vector<std::thread> threads;
    for (int i = 0; i < thread_count; ++i) {
        threads.emplace_back([i] {
            for (int line = 0; line < line_count; ++line) {
                LOG_LINE(logging::wpx_log(), 500, "thread " << i << " line " << line << " end");
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    const auto texts = log.texts("wpx");
    ASSERT_EQ(texts.size(), static_cast<std::size_t>(thread_count * line_count));
    std::vector<int> next(thread_count, 0);
    for (const auto& text : texts) {
        int thread = -1;
        int line = -1;
        char end[4] = {};
        ASSERT_EQ(std::sscanf(text.c_str(), "thread %d line %d %3s", &thread, &line, end), 3) << text;
        ASSERT_STREQ(end, "end");
        ASSERT_EQ(line, next.at(static_cast<std::size_t>(thread))++) << "lines of one thread keep their order";
    }
}

TEST(log_stream, writes_when_it_is_destroyed_and_not_before)
{
    const test::log_capture log;
    {
        auto stream = logging::outlook_log().stream(400);
        EXPECT_EQ(stream.level(), 400U);
        stream.stream() << "half ";
        EXPECT_TRUE(log.lines().empty());
        stream.stream() << "whole";
    }
    EXPECT_EQ(log.texts(), std::vector<std::string>{"half whole"});
}

TEST(log_stream, is_off_for_a_level_that_is_not_enabled)
{
    const test::log_capture log(300);
    EXPECT_EQ(logging::outlook_log().stream(400).level(), logging::priority::off);
    EXPECT_EQ(logging::outlook_log().stream(600).level(), logging::priority::off);
    EXPECT_TRUE(log.lines().empty());
}

TEST(log_stream, hands_its_line_over_when_moved)
{
    const test::log_capture log;
    {
        auto first = logging::outlook_log().stream(200);
        first.stream() << "moved";
        auto second = std::move(first);
        EXPECT_EQ(first.level(), logging::priority::off); // NOLINT(bugprone-use-after-move): the state is told
        second.stream() << " once";
    }
    EXPECT_EQ(log.texts(), std::vector<std::string>{"moved once"});
}

TEST(narrow, goes_through_the_ansi_code_page)
{
    const std::uint32_t before = winapi::ansi_code_page(1252);
    const test::log_capture log;
    LOG_LINE(logging::outlook_log(), 500, "subject " << logging::narrow(L"caf\u00e9 \u4e2d"));
    EXPECT_EQ(log.texts(), std::vector<std::string>{"subject caf\xE9 ?"});
    winapi::ansi_code_page(before);
}

TEST(narrow, raises_when_the_conversion_fails)
{
    const std::uint32_t before = winapi::ansi_code_page(99999);
    try {
        (void)logging::narrow(L"text");
        ADD_FAILURE() << "no exception";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(), "conv_to_char called wcstombs() and failed.");
    }
    winapi::ansi_code_page(before);
}

} // namespace
