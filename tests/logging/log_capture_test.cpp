#include "tests/support/log_capture.h"

#include <gtest/gtest.h>

namespace {

TEST(log_capture, keeps_only_what_is_written_while_it_lives)
{
    LOG_LINE(logging::outlook_log(), 200, "before");
    {
        const test::log_capture log;
        LOG_LINE(logging::outlook_log(), 200, "during");
        EXPECT_EQ(log.texts(), std::vector<std::string>{"during"});
    }
    const test::log_capture later;
    EXPECT_TRUE(later.lines().empty());
}

TEST(log_capture, picks_the_lines_of_one_logger)
{
    const test::log_capture log;
    LOG_LINE(logging::outlook_log(), 200, "a");
    LOG_LINE(logging::wpx_log(), 300, "b");
    EXPECT_EQ(log.texts(), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(log.texts("wpx"), std::vector<std::string>{"b"});
    EXPECT_TRUE(log.texts("icap").empty());
}

TEST(log_capture, finds_a_part_of_a_line)
{
    test::log_capture log;
    LOG_LINE(logging::outlook_log(), 200, "Failed to open, hr = 0x8004");
    EXPECT_TRUE(log.contains("hr = 0x"));
    EXPECT_FALSE(log.contains("hr = 1x"));
    log.clear();
    EXPECT_FALSE(log.contains("hr"));
}

} // namespace
