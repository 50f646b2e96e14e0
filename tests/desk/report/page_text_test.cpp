#include "desk/report/page_text.h"

#include <gtest/gtest.h>

#include <string>

namespace host::test {
namespace {

using namespace std::string_literals;

TEST(PageText, EscapesWhatHasAMeaningInAPage)
{
    EXPECT_EQ("a &lt;b&gt; &amp;amp; &quot;c&quot; &#39;d&#39;", page_text("a <b> &amp; \"c\" 'd'"));
    EXPECT_EQ("", page_text(""));
}

TEST(PageText, ShowsUnseenCharactersByTheirNumber)
{
    EXPECT_EQ("a<span class=u>U+202E</span>fdp.exe", page_text("a\u202E"
                                                               "fdp.exe"));
    EXPECT_EQ("<span class=u>U+0000</span><span class=u>U+000A</span><span class=u>U+0085</span>",
              page_text("\0\n\u0085"s));
    for (const char* text :
         {"\u200F", "\u2066", "\uFEFF", "\u061C", "\u00AD", "\u2028", "\x1B", "\x7F", "\U000E0041"}) {
        EXPECT_TRUE(page_text(text).starts_with("<span class=u>U+")) << page_text(text);
    }
    EXPECT_EQ("Jürgen 検", page_text("Jürgen 検"));
}

TEST(PageText, ReplacesInvalidBytes)
{
    EXPECT_EQ("a\uFFFD<span class=u>U+FFFF</span>", page_text("a\xC3\xEF\xBF\xBF"));
    EXPECT_EQ("\uFFFD&lt;", page_text("\xE2\x80<"));
}

TEST(PageText, IsCutAtACharacter)
{
    EXPECT_EQ("ää", page_text("ää", 2));
    EXPECT_EQ("ää…", page_text("äää", 2));
    EXPECT_EQ("…lö", page_text("aaalö", 2, kept_part::end));
    EXPECT_EQ("lö", page_text("lö", 2, kept_part::end));
    EXPECT_EQ("&lt;…", page_text("<<", 1));
}

TEST(PageText, IsIsolatedFromTheDirectionAround)
{
    EXPECT_EQ("<bdi>a&lt;</bdi>", isolated_text("a<"));
}

TEST(PageLines, KeepLinesAndTabs)
{
    EXPECT_EQ("a\n\tb\n<span class=u>U+000D</span>c<span class=u>U+0008</span>", page_lines("a\r\n\tb\n\rc\b"));
    EXPECT_EQ("&lt;/pre&gt;", page_lines("</pre>"));
}

TEST(AttributeText, CannotLeaveItsQuotes)
{
    EXPECT_EQ("&quot;><b>&amp;quot;'", attribute_text("\"><b>&quot;'"));
    EXPECT_EQ("a\uFFFDb\uFFFD", attribute_text("a\0b\xFF"s));
}

TEST(SizeText, HasTwoDigitsAtLeast)
{
    EXPECT_EQ("0 bytes", size_text(0));
    EXPECT_EQ("1 byte", size_text(1));
    EXPECT_EQ("1023 bytes", size_text(1023));
    EXPECT_EQ("1.0 KB", size_text(1024));
    EXPECT_EQ("12 KB", size_text(12 * 1024 + 100));
    EXPECT_EQ("3.5 MB", size_text(3670016));
    EXPECT_EQ("16777216 TB", size_text(~0ULL));
}

} // namespace
} // namespace host::test
