#include "mail/mime/text/quoted_printable.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>
#include <vector>

namespace host {
namespace {

std::string encode(std::string_view text)
{
    quoted_printable encoder;
    std::string out;
    encoder.append(text, out);
    encoder.finish(out);
    return out;
}

/// Decodes as the standard specifies: soft line breaks are removed, codes become bytes, all other characters are kept.
std::string decode(const std::string& text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '=') {
            result += text[i];
        } else if (text.compare(i, 3, "=\r\n") == 0) {
            i += 2;
        } else {
            result += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        }
    }
    return result;
}

/// Checks the requirements of the standard for the encoded form.
void expect_well_formed(const std::string& encoded)
{
    std::size_t start = 0;
    while (start < encoded.size()) {
        const std::size_t end = encoded.find("\r\n", start);
        ASSERT_NE(end, std::string::npos) << "the last line has no end: " << encoded;
        const std::string line = encoded.substr(start, end - start);
        EXPECT_LE(line.size(), 76U) << line;
        EXPECT_EQ(line.find_first_of("\r\n"), std::string::npos) << line;
        EXPECT_FALSE(line.ends_with(' ') || line.ends_with('\t')) << line;
        for (const char c : line) {
            EXPECT_TRUE((c >= ' ' && c <= '~') || c == '\t') << line;
        }
        start = end + 2;
    }
}

TEST(quoted_printable, leaves_lines_of_plain_text_as_they_are)
{
    EXPECT_EQ(encode("one\r\ntwo\r\n"), "one\r\ntwo\r\n");
}

TEST(quoted_printable, of_nothing_is_nothing)
{
    EXPECT_EQ(encode(""), "");
}

TEST(quoted_printable, encodes_what_is_not_printable_ascii_and_the_sign_itself)
{
    EXPECT_EQ(encode("a=b\xC3\xA4\x01\x7F\r\n"), "a=3Db=C3=A4=01=7F\r\n");
}

TEST(quoted_printable, encodes_line_ends_that_are_none_of_mail)
{
    EXPECT_EQ(encode("a\rb\r\n"), "a=0Db\r\n");
    EXPECT_EQ(encode("a\nb\r\n"), "a=0A=\r\nb\r\n") << "readers still see two lines";
    EXPECT_EQ(encode("a\r\r\n"), "a=0D\r\n");
    EXPECT_EQ(encode("a\n\r\n"), "a=0A=\r\n\r\n");
}

TEST(quoted_printable, ends_a_last_line_without_an_end_softly)
{
    EXPECT_EQ(encode("end"), "end=\r\n");
    EXPECT_EQ(encode("end\r"), "end=0D=\r\n");
    EXPECT_EQ(encode("end\n"), "end=0A=\r\n");
}

TEST(quoted_printable, encodes_blanks_only_at_the_end_of_a_line)
{
    EXPECT_EQ(encode("a \t \r\n"), "a \t=20\r\n");
    EXPECT_EQ(encode("a \r\n b\t"), "a=20\r\n b=09=\r\n");
    EXPECT_EQ(encode("a \rb\r\n"), "a =0Db\r\n");
    EXPECT_EQ(encode(" "), "=20=\r\n");
}

TEST(quoted_printable, keeps_lines_of_seventy_six_characters)
{
    const std::string fits(75, 'x');
    EXPECT_EQ(encode(fits), fits + "=\r\n");
    EXPECT_EQ(encode(fits + "y"), fits + "=\r\ny=\r\n");
    EXPECT_EQ(encode(std::string(73, 'x') + "="), std::string(73, 'x') + "=\r\n=3D=\r\n") << "a code is never cut";
}

TEST(quoted_printable, begins_anew_after_its_end)
{
    quoted_printable encoder;
    std::string out;
    encoder.append("a \r", out);
    encoder.finish(out);
    encoder.append("\nb", out);
    encoder.finish(out);
    EXPECT_EQ(out, "a =0D=\r\n=0A=\r\nb=\r\n");
}

TEST(quoted_printable, does_not_depend_on_how_the_text_is_cut)
{
    const std::string text = "a \t\r\n\xC3\xA4 =\r\r\n \n\rb ";
    for (std::size_t first = 0; first <= text.size(); ++first) {
        for (std::size_t second = first; second <= text.size(); ++second) {
            quoted_printable encoder;
            std::string out;
            encoder.append(text.substr(0, first), out);
            encoder.append(text.substr(first, second - first), out);
            encoder.append(text.substr(second), out);
            encoder.finish(out);
            ASSERT_EQ(out, encode(text)) << first << " " << second;
        }
    }
}

TEST(quoted_printable, decodes_to_the_very_same_bytes)
{
    std::mt19937 random(11); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts every time
    constexpr std::string_view often = " \t\r\n=a.\xC3";
    for (int round = 0; round < 20000; ++round) {
        std::string text(random() % 200, '\0');
        for (char& c : text) {
            c = random() % 3 == 0 ? static_cast<char>(random()) : often[random() % often.size()];
        }
        const std::string encoded = encode(text);
        ASSERT_NO_FATAL_FAILURE(expect_well_formed(encoded));
        ASSERT_EQ(decode(encoded), text);
    }
}

} // namespace
} // namespace host
