#include "mail/mime/text/property_text.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace host::test {
namespace {

TEST(LenientBase64, SkipsWhatIsNotOfIt)
{
    EXPECT_EQ("", lenient_base64(""));
    EXPECT_EQ("foob", lenient_base64("Zm9vYg=="));
    EXPECT_EQ("foob", lenient_base64(" Z-m9v\r\n\tYg!=\xC3\xA4="));
    EXPECT_EQ("", lenient_base64("-_*"));
}

TEST(LenientBase64, ReadsOnBehindPadding)
{
    for (const auto& [text, bytes] : {std::pair<std::string, std::string>{"QQ==QUI=QUJD", "AABABC"},
                                      {"QUJDQQ==\nQQ==", "ABCAA"},
                                      {"QUI=QUI=", "ABAB"},
                                      {"====QUJD", std::string("\0ABC", 4)}}) {
        EXPECT_EQ(bytes, lenient_base64(text)) << text;
    }
}

TEST(LenientBase64, DropsAGroupThatIsNotWhole)
{
    for (const std::string rest : {"Q", "QQ", "QUI", "QQ=", "="}) {
        EXPECT_EQ("ABC", lenient_base64("QUJD" + rest)) << rest;
        EXPECT_EQ("AB", lenient_base64("QUI=" + rest)) << rest;
    }
}

TEST(LenientBase64, ReadsLongTexts)
{
    std::string text;
    std::string bytes;
    for (int i = 0; i < 20000; ++i) {
        text += i % 19 == 18 ? "QUJD\r\n" : "QUJD";
        bytes += "ABC";
    }
    EXPECT_EQ(bytes, lenient_base64(text));
}

} // namespace
} // namespace host::test
