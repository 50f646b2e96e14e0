#include "tests/support/base64_judge.h"
#include "tests/support/guarded_buffer.h"
#include "tool/system/base64.h"

#include <boost/archive/iterators/dataflow_exception.hpp>
#include <gtest/gtest.h>

#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace base64_test {

using namespace std::string_literals;

using boost::archive::iterators::dataflow_exception;
using winapi::base64::encode;
using outcome = std::optional<std::vector<std::byte>>;

std::vector<std::byte> bytes(std::string_view text)
{
    std::vector<std::byte> result;
    for (const char letter : text) {
        result.push_back(static_cast<std::byte>(letter));
    }
    return result;
}

std::vector<std::byte> decoded(std::string_view text)
{
    return winapi::base64::decode<std::vector<std::byte>>(text).value();
}

outcome fast(std::string_view text)
{
    return winapi::base64::decode<std::vector<std::byte>>(text);
}

/// Bytes, or nothing when the judge raised its error.
outcome plain(const std::string& text)
{
    try {
        return test::judge_base64(text);
    } catch (const dataflow_exception& failure) {
        EXPECT_EQ(failure.code, dataflow_exception::invalid_base64_character);
        return std::nullopt;
    }
}

TEST(base64, encodes_with_padding_for_every_remainder)
{
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("f"), "Zg==");
    EXPECT_EQ(encode("fo"), "Zm8=");
    EXPECT_EQ(encode("foo"), "Zm9v");
    EXPECT_EQ(encode("foob"), "Zm9vYg==");
}

TEST(base64, encodes_bytes_as_they_are)
{
    EXPECT_EQ(encode("\xff\xfe\x00\x01"s), "//4AAQ==");
    EXPECT_EQ(encode("\xfc"), "/A==");
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all.push_back(static_cast<char>(byte));
        EXPECT_EQ(winapi::base64::decode(encode(all)), all);
    }
}

TEST(base64, encodes_a_long_value_on_one_line)
{
    const std::string text = encode(std::string(3000, 'a'));
    EXPECT_EQ(text.size(), 4000U);
    EXPECT_EQ(text.find_first_of("\r\n="), std::string::npos);
}

TEST(base64, encodes_nothing_behind_the_value)
{
    for (const std::string value : {"a", "ab", "abc", "abcd"}) {
        const test::guarded_buffer guarded(value);
        EXPECT_EQ(encode(guarded.view()), encode(value));
    }
}

TEST(base64, knows_its_characters)
{
    std::string known;
    for (int byte = 0; byte < 256; ++byte) {
        const auto character = static_cast<char>(byte);
        known += winapi::base64::is_digit_or_padding(character) ? std::string(1, character) : "";
    }
    EXPECT_EQ(known, "+/0123456789=ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
}

TEST(base64, decodes_whole_groups_and_padding)
{
    EXPECT_EQ(decoded(""), bytes(""));
    EXPECT_EQ(decoded("Zm9v"), bytes("foo"));
    EXPECT_EQ(decoded("Zm9vYg=="), bytes("foob"));
    EXPECT_EQ(decoded("Zm9vYmE="), bytes("fooba"));
    EXPECT_EQ(decoded("Zm9vYmFy"), bytes("foobar"));
    EXPECT_EQ(decoded("++//"), (std::vector{std::byte{0xFB}, std::byte{0xEF}, std::byte{0xFF}}));
}

TEST(base64, decodes_text_without_its_padding)
{
    EXPECT_EQ(decoded("Zm9vYg"), bytes("foob"));
    EXPECT_EQ(decoded("Zm9vYmE"), bytes("fooba"));
}

TEST(base64, cuts_padding_only_off_texts_of_more_than_three_characters)
{
    EXPECT_EQ(decoded("Zm="), plain("Zm="));
    EXPECT_EQ(decoded("Zm=").size(), 2U);
    EXPECT_EQ(decoded("==").size(), 1U);
    EXPECT_EQ(decoded("====").size(), 1U);
    EXPECT_EQ(decoded("Zm9vYg==").size(), 4U);
}

TEST(base64, takes_an_equals_sign_elsewhere_for_zero)
{
    EXPECT_EQ(decoded("Z=9v"), decoded("ZA9v"));
    EXPECT_EQ(decoded("Zm=v"), decoded("ZmAv")) << "only a final one is padding";
}

TEST(base64, has_nothing_for_a_single_character_behind_the_last_group)
{
    EXPECT_EQ(fast("A"), std::nullopt);
    EXPECT_EQ(fast("Zm9vA"), std::nullopt);
    EXPECT_EQ(fast("Zm9v="), std::nullopt);
}

TEST(base64, judges_each_character_at_each_place_as_the_plain_decoder_does)
{
    for (const std::string_view sound : {"QUJDREVG", "QUJDREVGQQ", "QUJDREVGQUE"}) {
        for (std::size_t place = 0; place < sound.size(); ++place) {
            for (int value = 0; value < 256; ++value) {
                std::string text(sound);
                text[place] = static_cast<char>(value);
                EXPECT_EQ(fast(text), plain(text)) << "character " << value << " at " << place;
            }
        }
    }
}

TEST(base64, gives_what_the_plain_decoder_gives)
{
    std::mt19937 random(42);
    const std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/====";
    std::size_t raised = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string text(random() % 40, 'A');
        for (char& letter : text) {
            letter = random() % 200 == 0 ? static_cast<char>(random() % 256) : alphabet[random() % alphabet.size()];
        }
        const outcome expected = plain(text);
        raised += expected ? 0 : 1;
        ASSERT_EQ(fast(text), expected) << text;
    }
    EXPECT_GT(raised, 2000U);
    EXPECT_LT(raised, 12000U);
}

TEST(base64, reads_nothing_behind_its_text)
{
    for (const std::string_view text : {"QUJD", "QUJDRA", "QUJDREU", "QUJDRA==", "QUJDR"}) {
        const test::guarded_buffer guarded(text);
        EXPECT_EQ(fast(guarded.view()).has_value(), text.size() % 4 != 1);
    }
}

} // namespace base64_test
