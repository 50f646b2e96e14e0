#include "service/page_references.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace page_references_test {

/// Returns "line: what"; empty for none.
std::string found(std::string_view page)
{
    const auto reference = service::outside_reference(page);
    return reference ? std::to_string(reference->line) + ": " + reference->what : std::string();
}

TEST(page_references, to_the_outside_are_found_with_their_line)
{
    EXPECT_EQ(found("a\n<img src=\"http://host/a.png\">"), "2: src");
    EXPECT_EQ(found("<IMG ALT='' SRC = '//host/a.png'>"), "1: src");
    EXPECT_EQ(found("<img\nsrc=a.png>"), "2: src");
    EXPECT_EQ(found("<img src=cid:a>"), "1: src");
    EXPECT_EQ(found("<img src=\"{{name}}\">"), "1: src");
    EXPECT_EQ(found("<img srcset=\"a.png 2x\">"), "1: srcset");
    EXPECT_EQ(found("<table background=a>"), "1: background");
    EXPECT_EQ(found("\n\n<style>p { background: URL( 'http://host/a' ) }"), "3: url()");
    EXPECT_EQ(found("<style>@import \"a.css\";"), "1: @import");
    EXPECT_EQ(found("<link rel=stylesheet href=a.css>"), "1: <link");
    EXPECT_EQ(found("<Script>"), "1: <script");
    EXPECT_EQ(found("<meta http-equiv=\"Refresh\" content=\"0; url=http://host\">"), "1: http-equiv");
    EXPECT_EQ(found("<form action=http://host>"), "1: action");
    EXPECT_EQ(found("<p>\n<script></script>\n<img src=a>"), "2: <script");
}

TEST(page_references, to_the_page_itself_and_behind_a_click_are_none)
{
    for (const std::string_view page :
         {"", "<img src=\"data:image/png;base64,AA==\">", "<img src='data:image/png;base64,AA=='>",
          "<p style=\"background: url(data:image/png;base64,AA==)\">", "<a href=\"https://host/help\">help</a>",
          "<p>src and url, data and background</p>", "<p style=\"background: red\">", "<linker>", "<p data-x=\"1\">",
          "<meta http-equiv=\"Content-Type\" content=\"text/html\">", "<p xsrc=\"a\">", "curl (1)"}) {

        EXPECT_EQ(found(page), "") << page;
    }
}

} // namespace page_references_test
