#include "desk/run/progress.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <sstream>

namespace host::test {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr std::uint64_t megabyte = 1000000;

progress_state half_way()
{
    return {50, 500 * megabyte, 100, 1000 * megabyte, std::chrono::seconds(125)};
}

TEST(ProgressText, HasMessagesBytesRatesAndTheTimeLeft)
{
    EXPECT_EQ("[##########..........] 50%, 50 of 100 messages, 500 MB of 1.0 GB, 0.4/s, 4.0 MB/s, 2:05 left",
              progress_text(half_way(), 200));
}

TEST(ProgressText, FollowsTheBytesWhereTheMessagesAreUnknown)
{
    progress_state state = half_way();
    state.all_messages.reset();
    state.bytes = 250 * megabyte;
    EXPECT_EQ("[#####...............] 25%, 50 messages, 250 MB of 1.0 GB, 0.4/s, 2.0 MB/s, 6:15 left",
              progress_text(state, 200));
}

TEST(ProgressText, HasTheTimeSpentWhereTheWholeIsUnknown)
{
    EXPECT_EQ("1200 messages, 12 kB, 0.3/s, 3 bytes/s, 1:01:01",
              progress_text({1200, 12000, std::nullopt, std::nullopt, std::chrono::seconds(3661)}, 200));
}

TEST(ProgressText, FitsIntoEveryWidth)
{
    progress_state large = half_way();
    large.messages = 99999;
    large.all_messages = 100000;
    for (const progress_state& state : {half_way(), large, progress_state()}) {
        for (std::size_t columns = 1; columns < 120; ++columns) {
            const std::string text = progress_text(state, columns);
            EXPECT_LE(columns_of(text), columns) << text;
            EXPECT_NE("", text);
        }
    }
    EXPECT_EQ("50%, 50, 2:05", progress_text(half_way(), 19));
}

TEST(ProgressText, NeverClaimsMoreThanTheWhole)
{
    EXPECT_THAT(progress_text({101, 2000, 100, 1000, std::chrono::seconds(1)}, 200),
                AllOf(HasSubstr("100%, 101 of 101 messages"), EndsWith("0:00 left")));
}

class ProgressLine : public testing::Test
{
protected:
    std::ostringstream out;
    std::ostringstream err;
};

std::size_t narrow()
{
    return 20;
}

TEST_F(ProgressLine, IsDrawnFromTheBeginningAndErasedAtTheEnd)
{
    const console terminal{out, err, true, 80};
    {
        progress_line line(terminal, {0, 100, 1000});
        line.show(0, 0);
        EXPECT_THAT(err.str(), AllOf(StartsWith("\r"), HasSubstr("0%, 0 of 100 messages"), EndsWith("\033[J\r")));
    }
    EXPECT_THAT(err.str(), EndsWith("\033[J\r\r\033[J"));
    EXPECT_EQ("", out.str());
}

TEST_F(ProgressLine, IsNotDrawnAgainWithinAMoment)
{
    const console terminal{out, err, true, 80};
    const auto start = std::chrono::steady_clock::now();
    progress_line line(terminal, {0, 100000, 1000000});
    for (std::uint64_t i = 0; i < 100000; ++i) {
        line.show(i, i);
    }
    const auto spent = std::chrono::steady_clock::now() - start;
    const std::string text = err.str();
    const auto drawings = std::count(text.begin(), text.end(), '\033');
    EXPECT_LE(1, drawings);
    EXPECT_LE(drawings, 1 + spent / std::chrono::milliseconds(100));
}

TEST_F(ProgressLine, IsAsWideAsItsTerminalIsNow)
{
    console terminal{out, err, true, 80};
    terminal.progress_width = narrow;
    progress_line(terminal, {0, 100, 1000}).show(50, 500);
    const std::string text = err.str().substr(1, err.str().find('\033') - 1);
    EXPECT_LT(0U, text.size());
    EXPECT_GT(20U, text.size()); // some terminals wrap in the last column
}

TEST_F(ProgressLine, IsErasedByAReportAndDrawnAgain)
{
    const console terminal{out, err, true, 80};
    progress_line line(terminal, {});
    line.show(0, 0);
    report(terminal, "a", "b");
    EXPECT_THAT(err.str(), EndsWith("\r\033[Jpostwarden: a: b\n"));
    line.show(1, 0);
    EXPECT_THAT(err.str(), EndsWith("\033[J\r"));
}

TEST_F(ProgressLine, IsNotDrawnWithoutATerminal)
{
    const console pipe{out, err, false, 80};
    progress_line(pipe, {0, 1000, 1000}).show(1, 1);
    EXPECT_EQ("", err.str());
}

} // namespace
} // namespace host::test
