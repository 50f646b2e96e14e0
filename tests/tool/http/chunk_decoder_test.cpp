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

} // namespace chunk_decoder_test
