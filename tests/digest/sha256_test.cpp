#include "digest/sha256.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace sha256_test {

std::string digest_of(std::string_view text, std::size_t piece)
{
    digest::sha256 sum;
    for (; !text.empty(); text.remove_prefix(std::min(text.size(), piece))) {
        sum.add(text.substr(0, piece));
    }
    return digest::to_text(sum.finish());
}

TEST(sha256, has_the_published_values)
{
    EXPECT_EQ(digest_of("", 1), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(digest_of("abc", 3), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(digest_of(std::string(1000000, 'a'), 65536),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(sha256, does_not_depend_on_the_pieces)
{
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        text += static_cast<char>(i * 7);
    }
    const std::string whole = digest_of(text, text.size());
    for (const std::size_t piece : {1, 2, 63, 64, 65, 999}) {
        EXPECT_EQ(digest_of(text, piece), whole) << piece;
    }
}

} // namespace sha256_test
