#include "tests/support/guarded_buffer.h"
#include "tests/tool/http/body_judge.h"
#include "tests/tool/http/http_text.h"
#include "tests/tool/http/text_generator.h"
#include "tool/http/message_body.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <string>
#include <string_view>

namespace {

using splitter = std::function<std::size_t(std::string_view rest)>;

/// Passes a stream in pieces to both decoders and compares them after every call. Returns whether the body ended.
bool agree(std::string_view stream, const splitter& length_of_piece)
{
    // A length that no stream here reaches; it keeps the body in memory.
    const auto message = test::extract_message("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
    http::http_message_body own(*message, false, false, 0);
    judge::chunked_body judged;
    while (!stream.empty() && !judged.completed()) {
        const test::guarded_buffer piece(stream.substr(0, length_of_piece(stream)));
        const std::size_t expected = judged.append(piece.view());
        const auto used = own.append(piece.begin(), piece.end());
        EXPECT_EQ(expected, used);
        EXPECT_EQ(judged.completed(), own.completed());
        if (expected != used) {
            return false;
        }
        // The bytes that were not taken are offered again, with those that follow.
        stream.remove_prefix(expected);
    }
    EXPECT_EQ(judged.payload(), test::stored_body(*message));
    EXPECT_EQ(judged.trailers(), test::text_of(own.trailers()));
    EXPECT_EQ(judged.ieof(), own.ieof());
    return judged.completed();
}

bool agree(std::string_view stream, test::text_generator& generator, std::size_t largest_piece)
{
    return agree(stream, [&](std::string_view) { return 1 + generator.below(largest_piece); });
}

std::string well_formed_stream(test::text_generator& generator)
{
    std::string stream;
    for (std::size_t count = generator.below(5); count != 0; --count) {
        const std::string payload = generator.noise(1 + generator.below(40));
        char size[20];
        std::snprintf(size, sizeof size, generator.chance(2) ? "%zx" : "%04zX ;a=b", payload.size());
        stream += size + std::string(generator.chance(3) ? "\n" : "\r\n") + payload + "\r\n";
    }
    return stream + "0\r\n\r\n";
}

TEST(body_judge, agrees_on_well_formed_streams_in_pieces_of_any_size)
{
    test::text_generator generator(11);
    for (int round = 0; round < 800 && !testing::Test::HasFailure(); ++round) {
        const std::string stream = well_formed_stream(generator);
        for (const std::size_t largest : {1U, 3U, 1000U}) {
            EXPECT_TRUE(agree(stream, generator, largest)) << testing::PrintToString(stream);
        }
    }
}

TEST(body_judge, agrees_on_broken_streams)
{
    test::text_generator generator(12);
    for (int round = 0; round < 3'000 && !testing::Test::HasFailure(); ++round) {
        std::string stream = generator.mutated(well_formed_stream(generator));
        if (generator.chance(2)) {
            stream = generator.chunk() + generator.mutated(generator.chunk()) + stream;
        }
        agree(stream, generator, 1 + generator.below(30));
        EXPECT_FALSE(testing::Test::HasFailure()) << testing::PrintToString(stream);
    }
}

/// Returns a last chunk with trailer lines, most of them well-formed, and some bytes behind it.
std::string stream_with_trailers(test::text_generator& generator)
{
    static constexpr std::array<std::string_view, 12> pieces{
        "a: b\r\n",    "name:value\n", "x: y \r\r\n", "f: one\r\n two\r\n", "no colon\r\n", "late: colon\r\n",
        "c: \x80\r\n", ":\r\n",        "\r\n",        "e:\n\tf\n",          "t: u\rv\r\n",  " \r\n"};
    std::string stream = generator.chance(4) ? "1\r\nx\r\n" : "";
    stream += generator.chance(3) ? "00 ; ieof=1" : "0";
    stream += generator.chance(4) ? "\n" : "\r\n";
    for (std::size_t count = generator.below(12); count != 0; --count) {
        stream += pieces[generator.chance(3) ? generator.below(pieces.size()) : generator.below(3)];
    }
    return stream + (generator.chance(3) ? "\r" : "") + "\r\n" + (generator.chance(3) ? "a: b\r\n\r\n" : "");
}

TEST(body_judge, agrees_on_trailer_lines_in_pieces_that_end_with_a_line)
{
    test::text_generator generator(13);
    int ended = 0;
    for (int round = 0; round < 6'000 && !testing::Test::HasFailure(); ++round) {
        const std::string stream =
            generator.chance(3) ? generator.mutated(stream_with_trailers(generator)) : stream_with_trailers(generator);
        ended += agree(stream, [&](std::string_view rest) -> std::size_t {
            if (generator.chance(30)) {
                return 1 + generator.below(rest.size());
            }
            std::size_t length = 0;
            do {
                length = std::min(rest.find('\n', length), rest.size() - 1) + 1;
            } while (generator.chance(4) && length < rest.size());
            // The CR of the following line end may arrive with the line.
            return generator.chance(6) && length < rest.size() && rest[length] == '\r' ? length + 1 : length;
        });
        EXPECT_FALSE(testing::Test::HasFailure()) << testing::PrintToString(stream);
    }
    EXPECT_GT(ended, 1'500);
}

} // namespace
