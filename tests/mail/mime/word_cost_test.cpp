#include "mail/mime/reading/word_cost.h"
#include "tests/mail/mime/mime_fixture.h"

#include <string>

namespace host::test {
namespace {

std::string repeated(const std::string& piece, int count)
{
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += piece;
    }
    return text;
}

const std::string many = repeated("=?utf-8?Q?a", 25'000);

TEST(WordCost, IsHighForManyWordsWithoutEnd)
{
    EXPECT_TRUE(has_costly_words(*bytes_of("Subject: " + many + "\r\n\r\nHi\r\n")));
    EXPECT_TRUE(has_costly_words(*bytes_of("Subject: " + many)));
    EXPECT_TRUE(has_costly_words("Subject: " + many));
}

TEST(WordCost, IsHighInAFoldedHeaderAndInThatOfAPart)
{
    EXPECT_TRUE(has_costly_words(*bytes_of("Subject:" + repeated(" =?utf-8?Q?a\r\n", 25'000) + "\r\nHi\r\n")));
    EXPECT_TRUE(has_costly_words(
        *bytes_of("Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\nContent-Type: a/b; name=" + many + "\r\n")));
}

TEST(WordCost, IsHighIfTheOnlyEndIsFar)
{
    EXPECT_TRUE(has_costly_words("Subject: " + many + "?="));
}

TEST(WordCost, IsLowForWordsThatEnd)
{
    EXPECT_FALSE(has_costly_words(*bytes_of("Subject: " + repeated("=?utf-8?Q?a?= ", 100'000) + "\r\n\r\nHi\r\n")));
}

TEST(WordCost, IsLowForOneWordALineOfABody)
{
    EXPECT_FALSE(has_costly_words(*bytes_of("Subject: x\r\n\r\n" + repeated("=?utf-8?Q?a\r\n", 100'000))));
}

TEST(WordCost, DoesNotDependOnWhereBlocksOfTheSourceEnd)
{
    // Each mark, and the end of each line, falls on every place around the end of a block once.
    for (std::size_t shift = 0; shift < 16; ++shift) {
        const std::string start(65'536 - 16 + shift, 'x');
        EXPECT_FALSE(has_costly_words(*bytes_of(start + repeated("=?utf-8?Q?a?= ", 10'000))));
        EXPECT_FALSE(has_costly_words(*bytes_of(start + repeated("=?utf-8?Q?a\r\n", 50'000))));
        EXPECT_TRUE(has_costly_words(*bytes_of(start + many)));
    }
}

TEST(WordCost, CountsWordsThatBeginAtTheEndOfABlock)
{
    std::string text(65'535, 'x');
    for (int i = 0; i < 100; ++i) {
        text.append("=?").append(65'534, 'x');
    }
    EXPECT_TRUE(has_costly_words(*bytes_of(text)));
}

TEST(WordCost, OfNothingIsLow)
{
    EXPECT_FALSE(has_costly_words(*bytes_of("")));
    EXPECT_FALSE(has_costly_words(""));
}

TEST(CostlyWords, LeaveTheRestOfTheMessageAsItIs)
{
    const auto message =
        read("Subject: =?utf-8?Q?caf=C3=A9?=\nTo: =?utf-8?Q?J=C3=B6rg?= <a@b.example>\nX-Much: " + many + "\n\nHi\n");
    EXPECT_EQ(L"caf\u00E9", wide(message, PR_SUBJECT_W));
    EXPECT_EQ(L"J\u00F6rg", wide(message, PR_DISPLAY_TO_W));
    EXPECT_EQ(L"Hi\r\n", wide(message, PR_BODY_W));
}

} // namespace
} // namespace host::test
