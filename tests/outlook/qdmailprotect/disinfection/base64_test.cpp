#include "outlook/qdmailprotect/disinfection/base64.h"
#include "tests/outlook/qdmailprotect/support/image_judge.h"
#include "tests/support/guarded_buffer.h"

#include <boost/archive/iterators/dataflow_exception.hpp>
#include <gtest/gtest.h>

#include <optional>
#include <random>

namespace base64_test {

using boost::archive::iterators::dataflow_exception;
using outcome = std::optional<std::vector<std::byte>>;

std::vector<std::byte> bytes(std::string_view text)
{
    std::vector<std::byte> result;
    for (const char letter : text) {
        result.push_back(static_cast<std::byte>(letter));
    }
    return result;
}

/// The decoded bytes, or nothing if the decoder threw its error.
template <typename Decoder>
outcome decode(Decoder&& decoder, const std::string& text)
{
    try {
        return decoder(text);
    } catch (const dataflow_exception& failure) {
        EXPECT_EQ(failure.code, dataflow_exception::invalid_base64_character);
        return std::nullopt;
    }
}

outcome fast(const std::string& text)
{
    return decode([](const std::string& it) { return DecodeBase64(it); }, text);
}

outcome plain(const std::string& text)
{
    return decode([](const std::string& it) { return test::judge_base64(it); }, text);
}

TEST(base64, decodes_whole_groups_and_padding)
{
    EXPECT_EQ(DecodeBase64(""), bytes(""));
    EXPECT_EQ(DecodeBase64("Zm9v"), bytes("foo"));
    EXPECT_EQ(DecodeBase64("Zm9vYg=="), bytes("foob"));
    EXPECT_EQ(DecodeBase64("Zm9vYmE="), bytes("fooba"));
    EXPECT_EQ(DecodeBase64("Zm9vYmFy"), bytes("foobar"));
    EXPECT_EQ(DecodeBase64("++//"), (std::vector{std::byte{0xFB}, std::byte{0xEF}, std::byte{0xFF}}));
}

TEST(base64, decodes_text_without_its_padding)
{
    EXPECT_EQ(DecodeBase64("Zm9vYg"), bytes("foob"));
    EXPECT_EQ(DecodeBase64("Zm9vYmE"), bytes("fooba"));
}

TEST(base64, cuts_padding_only_off_texts_of_more_than_three_characters)
{
    EXPECT_EQ(DecodeBase64("Zm="), plain("Zm="));
    EXPECT_EQ(DecodeBase64("Zm=").size(), 2U);
    EXPECT_EQ(DecodeBase64("==").size(), 1U);
    EXPECT_EQ(DecodeBase64("====").size(), 1U);
    EXPECT_EQ(DecodeBase64("Zm9vYg==").size(), 4U);
}

TEST(base64, takes_an_equals_sign_elsewhere_for_zero)
{
    EXPECT_EQ(DecodeBase64("Z=9v"), DecodeBase64("ZA9v"));
    EXPECT_EQ(DecodeBase64("Zm=v"), DecodeBase64("ZmAv")) << "only a final one is padding";
}

TEST(base64, raises_for_a_single_character_behind_the_last_group)
{
    EXPECT_THROW(DecodeBase64("A"), dataflow_exception);
    EXPECT_THROW(DecodeBase64("Zm9vA"), dataflow_exception);
    EXPECT_THROW(DecodeBase64("Zm9v="), dataflow_exception);
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
        try {
            DecodeBase64(guarded.view());
        } catch (const dataflow_exception&) {
            EXPECT_EQ(text.size() % 4, 1U);
        }
    }
}

} // namespace base64_test
