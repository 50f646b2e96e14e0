#include "logging/sinks.h"

#include <gtest/gtest.h>

namespace {

using logging::written_line;

TEST(written_line, has_level_logger_thread_and_text)
{
    EXPECT_EQ(written_line(400, "outlook", 1234, "the text"), "400 outlook 1234 the text");
    EXPECT_EQ(written_line(200, "wpx", 1, ""), "200 wpx 1 ");
}

TEST(written_line, stays_one_line_whatever_the_text_holds)
{
    EXPECT_EQ(written_line(1, "a", 1, "Subject: x\r\n200 outlook 1 forged"),
              "1 a 1 Subject: x\\r\\n200 outlook 1 forged");
    EXPECT_EQ(written_line(1, "a", 1, std::string_view("\0\x1B\x7F", 3)), "1 a 1 \\x00\\x1b\\x7f");
}

TEST(written_line, leaves_tabs_and_bytes_of_other_alphabets_alone)
{
    EXPECT_EQ(written_line(1, "a", 1, "x\ty\xE9\x80"), "1 a 1 x\ty\xE9\x80");
}

TEST(target_text, names_a_destination_as_the_configuration_does)
{
    EXPECT_EQ(logging::target_text(logging::file_target{L"\u00e9.log"}), "file=\xC3\xA9.log");
    EXPECT_EQ(logging::target_text(logging::stderr_target{}), "stderr");
    EXPECT_EQ(logging::target_text(logging::debugger_target{}), "debugger");
}

} // namespace
