#include "mail/mime/text/charset_names.h"
#include "mail/mime/text/charset_text.h"
#include "tests/mail/mime/mime_fixture.h"
#include "tool/system/conversions.h"

#include <clocale>
#include <cstdint>
#include <string>
#include <tuple>
#include <utility>

namespace host::test {
namespace {

TEST(CharacterSets, HaveTheirCodePages)
{
    EXPECT_EQ(65001U, code_page_of("UTF-8"));
    EXPECT_EQ(50220U, code_page_of("ISO-2022-JP"));
    EXPECT_EQ(1251U, code_page_of("windows-1251"));
    EXPECT_EQ(0U, code_page_of("x-no-such"));
    EXPECT_EQ(0U, code_page_of(""));
}

TEST(CharacterSets, AreKnownByTheirAliases)
{
    for (const auto& [name, page] : {
             std::pair<const char*, std::uint32_t>{"cp1251", 1251},
             {"CP-1251", 1251},
             {"win-1251", 1251},
             {"win1251", 1251},
             {"x-cp1251", 1251},
             {"cp949", 949},
             {"ms949", 949},
             {"windows-949", 949},
             {"uhc", 949},
             {"KS_C_5601-1987", 949},
             {"ks-c-5601-1987", 949},
             {"x-sjis", 932},
             {"Shift_JIS", 932},
             {"windows-31j", 932},
             {"cp437", 437},
             {"IBM437", 437},
             {"ibm-850", 850},
             {"iso-8859-14", 28604},
             {"iso-8859-16", 28606},
             {"ISO8859-2", 28592},
             {"ISO_8859-2:1987", 28592},
             {"iso88595", 28595},
             {"latin9", 28605},
             {"gbk", 936},
             {"x-gbk", 936},
             {"cp936", 936},
             {"GB_2312-80", 936},
             {"ansi_x3.4-1968", 20127},
             {"utf8", 65001},
         }) {
        EXPECT_EQ(page, code_page_of(name)) << name;
    }
    for (const char* const unknown : {"cp", "cp123456", "cp99999", "cp12x", "iso-8859-99", "windows", "x-", "1251"}) {
        EXPECT_EQ(0U, code_page_of(unknown)) << unknown;
    }
}

TEST(CharacterSets, KeepTheirNamesByPage)
{
    EXPECT_EQ("ibm437", charset_of_page(437));
    EXPECT_EQ("ks_c_5601-1987", charset_of_page(949));
    EXPECT_EQ("iso-8859-16", charset_of_page(28606));
    EXPECT_EQ("", charset_of_page(20127));
    EXPECT_EQ("", charset_of_page(4711));
}

TEST(CharacterSets, AreConverted)
{
    for (const auto& [utf8, text, name] : {
             std::tuple<const char*, const char*, const char*>{"\xE3\x81\x82", "\x1b$B$\"\x1b(B", "iso-2022-jp"},
             {"\xE2\x82\xAC", "\x80", "windows-1252"},
             {"a\xEF\xBF\xBD", "a\xE3\x81", "utf-8"}, // truncated in the middle of a character
             {"", "", "utf-8"},
             {"\xD0\x94", "\xC4", "cp1251"},
             {"\xEA\xB0\x82", "\x81\x41", "cp949"}, // not in the narrower set of that country
             {"\xE3\x81\x82", "\x82\xA0", "x-sjis"},
             {"\xC3\xA9", "\x82", "cp437"},
             {"\xE1\xBA\x80", "\xA8", "iso-8859-14"},
             {"\xC8\x98", "\xAA", "iso-8859-16"},
             {"\xE4\xB8\x82", "\x81\x40", "gbk"},
         }) {
        EXPECT_EQ(utf8, to_utf8(text, name)) << name;
    }
}

/// The locale of a user in which the system's own character set is UTF-8.
class Utf8Locale : public testing::Test
{
protected:
    void SetUp() override { ASSERT_NE(nullptr, std::setlocale(LC_ALL, "C.UTF-8")); }
    void TearDown() override { std::setlocale(LC_ALL, "C"); }
};

TEST_F(Utf8Locale, DoesNotDecideAboutUnknownSets)
{
    EXPECT_EQ("caf\xC3\xA9", to_utf8("caf\xE9", "x-unknown"));
    EXPECT_EQ("caf\xC3\xA9", to_utf8("caf\xE9", "unknown-8bit"));
    EXPECT_EQ("caf\xC3\xA9", to_utf8("caf\xE9", ""));
    EXPECT_EQ("caf\xC3\xA9", to_utf8("caf\xC3\xA9", "x-unknown"));
}

TEST(CharacterSets, CannotNameConvertersWithOptions)
{
    EXPECT_EQ("caf\xC3\xA9", to_utf8("caf\xE9", "ascii//ignore"));
    EXPECT_EQ("caf\xC3\xA9", to_utf8("caf\xE9", "../utf-8"));
}

TEST(LongBodies, AreConvertedAcrossTheLimitsOfBlocks)
{
    for (const std::string& start : {std::string(), std::string("x")}) {
        std::string text = start;
        std::string utf8 = start;
        for (int i = 0; i < 200'000; ++i) {
            text += "\x82\xA0";
            utf8 += "\xE3\x81\x82";
        }
        std::string result;
        to_utf8(*bytes_of(text + '\x82'), "shift_jis", [&](std::string_view piece) { result.append(piece); });
        EXPECT_TRUE(utf8 + "\xEF\xBF\xBD" == result);
        result.clear();
        to_utf8(*bytes_of(utf8), "", [&](std::string_view piece) { result.append(piece); });
        EXPECT_TRUE(utf8 == result);
    }
}

TEST(LongBodies, AreReadWhole)
{
    std::string body;
    std::wstring text;
    for (int i = 0; i < 100'000; ++i) {
        body += "\xE3\x81\x82";
        text += L'\u3042';
    }
    const auto message = read("Content-Type: text/plain; charset=utf-8\n\n" + body);
    EXPECT_TRUE(text == wide(message, PR_BODY_W));
}

TEST(RawHeaders, AreGuessedOneByOne)
{
    const auto message = read("Subject: caf\xE9\nComments: K\xC3\xB6ln\n und \xC3\xA4\nX-Other: na\xEFve\n\nHi\n");
    const std::wstring headers = wide(message, PR_TRANSPORT_MESSAGE_HEADERS_W);
    EXPECT_NE(std::wstring::npos, headers.find(L"Subject: caf\u00E9\n")) << winapi::conv_to_char(headers, 65001);
    EXPECT_NE(std::wstring::npos, headers.find(L"Comments: K\u00F6ln\n und \u00E4\n"))
        << winapi::conv_to_char(headers, 65001);
    EXPECT_NE(std::wstring::npos, headers.find(L"X-Other: na\u00EFve\n")) << winapi::conv_to_char(headers, 65001);
}

TEST(Recipients, OfAMessageAreSharedByItsCopies)
{
    const auto message = read("To: a@b.example, c@d.example\n\nHi\n");
    const auto copy = message.copy();
    ASSERT_EQ(2U, copy.recipients.size());
    EXPECT_EQ(message.recipients[1], copy.recipients[1]);
}

} // namespace
} // namespace host::test
