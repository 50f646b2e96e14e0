#include "service/notice_texts.h"
#include "service/value_places.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace value_places_test {

/// Returns "line: placeholder"; empty for none.
std::string found(std::string_view page)
{
    const auto place = service::value_in_markup(page);
    return place ? std::to_string(place->line) + ": " + place->placeholder : std::string();
}

TEST(value_places, in_markup_are_found_with_their_line)
{
    EXPECT_EQ(found("<p title={{name}}>"), "1: {{name}}");
    EXPECT_EQ(found("<p title=\"{{threat}}\">"), "1: {{threat}}");
    EXPECT_EQ(found("<p>\n<a href='{{name}}'>"), "2: {{name}}");
    EXPECT_EQ(found("<p title='>' class={{name}}>"), "1: {{name}}");
    EXPECT_EQ(found("<p title=\">'\" class={{name}}>"), "1: {{name}}");
    EXPECT_EQ(found("<{{name}}>"), "1: {{name}}");
    EXPECT_EQ(found("</{{name}}>"), "1: {{name}}");
    EXPECT_EQ(found("<!DOCTYPE {{name}}>"), "1: {{name}}");
    EXPECT_EQ(found("<p\n\n{{threat}} {{name}}>"), "3: {{threat}}");
    EXPECT_EQ(found("<p {{name}}"), "1: {{name}}");
    EXPECT_EQ(found("<!-- > {{name}} -->"), "1: {{name}}");
    EXPECT_EQ(found("<!-- {{name}}"), "1: {{name}}");
    EXPECT_EQ(found("<STYLE type=\"text/css\">\np::before { content: \"{{name}}\" }</style>"), "2: {{name}}");
    EXPECT_EQ(found("<p style=\"color: {{threat}}\">"), "1: {{threat}}");
}

TEST(value_places, in_the_text_are_none)
{
    for (const std::string_view page :
         {"", "{{name}}", "<p>{{name}}</p>", "<title>{{threat}}</title>", "a < b {{name}}", "1<2 {{name}}>",
          "<p title='>'>{{name}}", "<!-- a --> {{name}}", "<style>p > b { }</Style><p>{{name}}", "<",
          "<html lang=\"{{language}}\">{{name}}", "{{#name}}<p>{{name}}</p>{{/name}}"}) {
        EXPECT_EQ(found(page), "") << page;
    }
    EXPECT_EQ(found(service::delivered_notice()), "");
}

} // namespace value_places_test
