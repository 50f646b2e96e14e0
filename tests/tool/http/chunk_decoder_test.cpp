#include "tests/support/failing_new.h"
#include "tool/http/chunk_decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace chunk_decoder_test {

TEST(chunk_decoder, fills_an_unfinished_chunk_and_writes_nothing_once_it_is_full)
{
    http::chunk_decoder decoder;
    std::string written;
    int writes = 0;
    const auto fill = [&](std::string_view text) {
        return decoder.fill_unfinished(text.data(), text.data() + text.size(), [&](const char* begin, const char* end) {
            written.append(begin, end);
            ++writes;
        });
    };
    EXPECT_EQ(0U, fill("abc"));
    EXPECT_EQ(0, writes);
    decoder.add_chunk({3, 1});
    EXPECT_EQ(2U, fill("abc"));
    EXPECT_EQ(0U, fill("c"));
    EXPECT_EQ("ab", written);
    EXPECT_EQ(1, writes);
    ASSERT_EQ(1U, decoder.chunks().size());
    EXPECT_EQ(3U, decoder.chunks().back().written);
}

TEST(chunk_decoder, needs_no_memory_for_the_chunks_that_are_finished)
{
    constexpr std::size_t count = 100'000;
    http::chunk_decoder decoder;
    const std::string_view chunk = "1\r\nx\r\n";
    const char* const end = chunk.data() + chunk.size();
    std::uint64_t payload = 0;
    const test::failing_new no_memory(1, test::refusals::all_behind);
    for (std::size_t number = 0; number < count; ++number) {
        std::uint64_t used = 0;
        const std::uint64_t size = decoder.read_line(chunk.data(), end, used).size;
        payload += decoder.start_chunk(size, chunk.data() + used, end, [](const char*, const char*) {});
    }
    EXPECT_FALSE(no_memory.failed());
    EXPECT_EQ(count, payload);
    EXPECT_EQ(count, decoder.chunks().size());
}

/// Feeds pieces until the decoder refuses one. Returns the number of bytes taken before.
std::size_t taken_of(std::string_view first, const std::string& piece)
{
    http::chunk_decoder decoder;
    std::uint64_t used = 0;
    decoder.read_line(first.data(), first.data() + first.size(), used);
    std::size_t taken = first.size();
    try {
        while (taken < 4 * http::chunk_decoder::longest_line) {
            decoder.read_line(piece.data(), piece.data() + piece.size(), used);
            taken += piece.size();
        }
    } catch (const http::chunk_line_too_long& problem) {
        EXPECT_STREQ("chunk line too long", problem.what());
    }
    return taken;
}

TEST(chunk_decoder, collects_a_line_without_end_up_to_a_limit)
{
    const std::size_t limit = http::chunk_decoder::longest_line;
    EXPECT_EQ(limit, taken_of("1;", "x"));
    EXPECT_EQ(limit, taken_of("1;", "xy"));
    EXPECT_EQ(limit, taken_of("zz\r\n", "x")) << "malformed";
    EXPECT_EQ(limit, taken_of("zz\r\n", "y\n")) << "malformed, with line ends";
    EXPECT_EQ(limit, taken_of("0\r\n", "\r")) << "a blank line without end";
    EXPECT_EQ(limit, taken_of("0\r\n", " "));
    EXPECT_EQ(limit, taken_of("0;", "\""));
}

TEST(chunk_decoder, collects_trailer_lines_beyond_the_limit_of_one_line)
{
    http::chunk_decoder decoder;
    std::uint64_t used = 0;
    const std::string_view zero = "0;e\r\n";
    const std::string line = "name: " + std::string(1000, 'v') + "\r\n";
    EXPECT_FALSE(decoder.read_line(zero.data(), zero.data() + zero.size(), used).completed);
    std::string expected;
    while (expected.size() <= 2 * http::chunk_decoder::longest_line) {
        EXPECT_FALSE(decoder.read_line(line.data(), line.data() + line.size(), used).completed);
        expected += line;
    }
    const std::string_view end = "\r\nx";
    const auto read = decoder.read_line(end.data(), end.data() + end.size(), used);
    EXPECT_TRUE(read.completed);
    EXPECT_EQ(";e", read.extension);
    EXPECT_EQ(expected, std::string(read.trailers.begin(), read.trailers.end()));
    EXPECT_EQ(2U, used);
    const std::string_view next = "5\r\n";
    EXPECT_EQ(5U, decoder.read_line(next.data(), next.data() + next.size(), used).size);
}

TEST(chunk_decoder, collects_trailer_lines_up_to_a_limit)
{
    http::chunk_decoder decoder;
    std::uint64_t used = 0;
    const std::string_view zero = "0\r\n";
    const std::string lines = "name: " + std::string(16000, 'v') + "\r\n";
    decoder.read_line(zero.data(), zero.data() + zero.size(), used);
    std::size_t taken = zero.size();
    try {
        while (taken < 2 * http::chunk_decoder::most_trailers) {
            decoder.read_line(lines.data(), lines.data() + lines.size(), used);
            taken += lines.size();
        }
    } catch (const http::chunk_line_too_long& problem) {
        EXPECT_STREQ("chunk trailers too long", problem.what());
    }
    EXPECT_LE(taken, http::chunk_decoder::most_trailers);
    EXPECT_GT(taken + lines.size(), http::chunk_decoder::most_trailers);
}

TEST(chunk_decoder, takes_a_line_of_the_limit)
{
    http::chunk_decoder decoder;
    std::uint64_t used = 0;
    const std::string line = "1;" + std::string(http::chunk_decoder::longest_line - 2, 'x');
    decoder.read_line(line.data(), line.data() + line.size(), used);
    const std::string_view end = "\nz";
    EXPECT_EQ(1U, decoder.read_line(end.data(), end.data() + end.size(), used).size);
    EXPECT_EQ(1U, used);
}

} // namespace chunk_decoder_test
