#include "service/page_references.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

namespace page_references_test {

/// Returns "line: what"; empty for none.
std::string found(std::string_view page)
{
    const auto reference = service::outside_reference(page);
    return reference ? std::to_string(reference->line) + ": " + reference->what : std::string();
}

TEST(page_references, to_the_outside_are_found_with_their_line)
{
    const std::pair<std::string_view, std::string_view> pages[] = {
        {"a\n<img src=\"http://host/a.png\">", "2: src"},
        {"<IMG ALT='' SRC = '//host/a.png'>", "1: src"},
        {"<img\nsrc=a.png>", "2: src"},
        {"<img src=cid:a>", "1: src"},
        {"<img src=\"{{name}}\">", "1: src"},
        {"<img srcset=\"a.png 2x\">", "1: srcset"},
        {"<table background=a>", "1: background"},
        {"\n\n<style>p { background: URL( 'http://host/a' ) }", "3: url()"},
        {"<style>@import \"a.css\";", "1: @import"},
        {"<link rel=stylesheet href=a.css>", "1: <link"},
        {"<Script>", "1: <script"},
        {"<meta http-equiv=\"Refresh\" content=\"0; url=http://host\">", "1: http-equiv"},
        {"<form action=http://host>", "1: action"},
        {"<p>\n<script></script>\n<img src=a>", "2: <script"},
        {"<img srcset=\"data:image/png;base64,AA== 1x, http://host/a.png 2x\">", "1: srcset"},
        {"<source srcset=\"data:,a 1x,\n//host/a\">", "1: srcset"},
        {"<img srcset=\"data:image/png;base64,AA==, a.png\">", "1: srcset"},
        {"<img srcset=\"\">", "1: srcset"},
        {"<p style=\"background: image-set('a.png' 1x)\">", "1: image-set()"},
        {"<style>p { background:\n-webkit-image-set(\"data:,a\" 1x, \"a.png\" 2x) }", "2: image-set()"},
        {"<style>p { background: image-set(\"data:,a\" type(\"image/png\"), ' a.png' 2x) }", "1: image-set()"},
        {"<style>p { background: image-set(url(a.png) 1x) }", "1: url()"},
        {"<svg><feImage href=a>", "1: <feimage"},
        {"<body\nonload=\"f()\">", "2: onload"},
        {"<p ONCLICK = f()>", "1: onclick"},
        {"<img alt='a > b' onerror=f()>", "1: onerror"},
        {"<p {{#found}}onclick=f(){{/found}}>", "1: onclick"},
        {"<a href=\"javascript:f()\">", "1: javascript:"},
        {"<p {{#found}}src=a{{/found}}>", "1: src"},
        {"<img alt=\"\"src=a>", "1: src"},
        {"<img/src=a>", "1: src"},
    };
    for (const auto& [page, reference] : pages) {
        EXPECT_EQ(found(page), reference) << page;
    }
}

TEST(page_references, to_the_page_itself_and_behind_a_click_are_none)
{
    for (const std::string_view page :
         {"",
          "<img src=\"data:image/png;base64,AA==\">",
          "<img src='data:image/png;base64,AA=='>",
          "<p style=\"background: url(data:image/png;base64,AA==)\">",
          "<a href=\"https://host/help\">help</a>",
          "<p>src and url, data and background</p>",
          "<p style=\"background: red\">",
          "<linker>",
          "<p data-x=\"1\">",
          "<meta http-equiv=\"Content-Type\" content=\"text/html\">",
          "<p xsrc=\"a\">",
          "curl (1)",
          "<img srcset=\"data:image/png;base64,AA== 1x, data:,b 2x\">",
          "<img srcset='data:,a'>",
          "<p style=\"background: image-set('data:,a' 1x, url(data:,b) 2x type('image/png'))\">, 'a'",
          "<p>one = 1, once=2, src=3, javascript: no</p>",
          "<p on=1>",
          "<p once>",
          "<p title='onload=f()'>",
          "<p on-x=\"1\">",
          "a < b, srcset=c",
          "image-set without parentheses 'a'"}) {

        EXPECT_EQ(found(page), "") << page;
    }
}

} // namespace page_references_test
