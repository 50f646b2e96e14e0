#include "service/notice_page.h"
#include "service/notice_template.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace notice_template_test {

using service::cause;
using service::notice_language;
using service::notice_template;
using testing::HasSubstr;
using testing::Not;

constexpr auto english = notice_language::english;
constexpr auto german = notice_language::german;

std::string page(std::string_view text, const service::notice& reported, notice_language language = english)
{
    return notice_template(text, language).page(reported);
}

std::string error_of(std::string_view text)
{
    try {
        const notice_template made(text, english);
    } catch (const std::invalid_argument& problem) {
        return problem.what();
    }
    return "none";
}

TEST(notice_template, fills_values)
{
    EXPECT_EQ(page("", {}), "");
    EXPECT_EQ(page("no placeholder }} {", {}), "no placeholder }} {");
    EXPECT_EQ(page("{{name}}", {cause::threat, "t", "n"}), "n");
    EXPECT_EQ(page("a{{name}}b{{threat}}{{name}}c", {cause::threat, "t", "n"}), "anbtnc");
    EXPECT_EQ(page("[{{name}}]", {cause::threat, "t", ""}), "[]");
    EXPECT_EQ(page("{{language}}", {}, german), "de");
}

TEST(notice_template, does_not_fill_a_value_again)
{
    EXPECT_EQ(page("{{name}}{{threat}}", {cause::threat, "{{name}}", "{{threat}}"}), "{{threat}}{{name}}");
}

TEST(notice_template, escapes_every_value)
{
    EXPECT_EQ(page("<{{name}}><{{threat}}>", {cause::threat, "\"'&", "<b>\r\n"}), "<&lt;b&gt;  ><&quot;&#39;&amp;>");
    EXPECT_EQ(page("{{name}}", {cause::threat, "", "\xE4"}), "\xC3\xA4");
}

TEST(notice_template, keeps_conditional_parts_only_if_their_value_is_present)
{
    constexpr std::string_view text = "1{{#name}}2{{name}}3{{/name}}4{{^name}}5{{/name}}6";
    EXPECT_EQ(page(text, {cause::threat, "t", "n"}), "12n346");
    EXPECT_EQ(page(text, {cause::threat, "t", ""}), "1456");
    EXPECT_EQ(page("{{#name}}a{{#threat}}b{{/threat}}c{{/name}}d", {cause::threat, "t", "n"}), "abcd");
    EXPECT_EQ(page("{{#name}}a{{#threat}}b{{/threat}}c{{/name}}d", {cause::threat, "", "n"}), "acd");
    EXPECT_EQ(page("{{#name}}a{{#threat}}b{{/threat}}c{{/name}}d", {cause::threat, "t", ""}), "d");
}

TEST(notice_template, distinguishes_causes)
{
    constexpr std::string_view text = "{{#found}}F{{/found}}{{#unchecked}}U{{/unchecked}}{{#forbidden}}B{{/forbidden}}"
                                      "{{#not_looked_into}}1{{/not_looked_into}}{{#too_large}}2{{/too_large}}"
                                      "{{#no_engine}}3{{/no_engine}}{{#too_late}}4{{/too_late}}"
                                      "{{#forbidden_name}}5{{/forbidden_name}}{{#forbidden_type}}6{{/forbidden_type}}"
                                      "{{#reason}}R{{/reason}}";
    EXPECT_EQ(page(text, {cause::threat, "t", ""}), "F");
    EXPECT_EQ(page(text, {cause::not_looked_into, "", ""}), "U1R");
    EXPECT_EQ(page(text, {cause::too_large, "", ""}), "U2R");
    EXPECT_EQ(page(text, {cause::no_engine, "", ""}), "U3R");
    EXPECT_EQ(page(text, {cause::too_late, "", ""}), "U4R");
    EXPECT_EQ(page(text, {cause::forbidden_name, "", ""}), "B5R");
    EXPECT_EQ(page(text, {cause::forbidden_type, "", ""}), "B6R");
}

TEST(notice_template, refuses_what_it_does_not_understand_and_names_the_line)
{
    EXPECT_EQ(error_of("a\nb {{nam}}"), "line 2: '{{nam}}' is not known");
    EXPECT_EQ(error_of("{{}}"), "line 1: '{{}}' is not known");
    EXPECT_EQ(error_of("{{ name }}"), "line 1: '{{ name }}' is not known");
    EXPECT_EQ(error_of("\n\n{{#nam}}"), "line 3: '{{#nam}}' is not known");
    EXPECT_EQ(error_of("{{" + std::string(100, 'x') + "}}"),
              "line 1: '{{" + std::string(40, 'x') + "...}}' is not known");
    EXPECT_EQ(error_of("\n{{name\n}}"), "line 2: '{{' without '}}' in the same line");
    EXPECT_EQ(error_of("{{name"), "line 1: '{{' without '}}' in the same line");
    EXPECT_EQ(error_of("{{name}\n"), "line 1: '{{' without '}}' in the same line");
    EXPECT_EQ(error_of("\n{{#name}}\n\n"), "line 2: '{{/name}}' is missing");
    EXPECT_EQ(error_of("{{#name}}\n{{#threat}}{{/name}}"), "line 2: '{{/name}}' ends no condition that is open here");
    EXPECT_EQ(error_of("{{/name}}"), "line 1: '{{/name}}' ends no condition that is open here");
    EXPECT_EQ(error_of("{{found}}"), "line 1: '{{found}}' has no text: it can only be a condition, '{{#found}}'");
    EXPECT_EQ(error_of("\n\xC3"), "line 2: not UTF-8");
    EXPECT_EQ(error_of("a\xFF"), "line 1: not UTF-8");
    EXPECT_EQ(error_of(std::string("\n\n\0", 3)), "line 3: not UTF-8");
    EXPECT_EQ(error_of(std::string(notice_template::largest, 'x')), "none");
    EXPECT_EQ(error_of(std::string(notice_template::largest + 1, 'x')), "more than 262144 bytes");
}

TEST(delivered_notice, says_in_each_language_what_happened)
{
    for (const auto language : {english, german}) {
        const notice_template delivered(language);
        const bool in_german = language == german;
        const std::string found = delivered.page({cause::threat, "Some.Threat", "invoice.pdf"});
        EXPECT_THAT(found, HasSubstr(in_german ? "<html lang=\"de\">" : "<html lang=\"en\">"));
        EXPECT_THAT(found, HasSubstr(in_german ? "<th>Gefunden</th><td>Some.Threat</td>"
                                               : "<th>Found</th><td>Some.Threat</td>"));
        EXPECT_THAT(found, Not(HasSubstr(in_german ? "<th>Grund</th>" : "<th>Reason</th>")));
        for (const cause why : {cause::not_looked_into, cause::too_large, cause::no_engine, cause::too_late,
                                cause::forbidden_name, cause::forbidden_type}) {
            const std::string page = delivered.page({why, "", "invoice.pdf"});
            EXPECT_THAT(page, HasSubstr("<td>invoice.pdf</td>"));
            EXPECT_THAT(page, HasSubstr(in_german ? "<th>Grund</th><td>" : "<th>Reason</th><td>"));
            EXPECT_THAT(page, Not(HasSubstr("<td></td>")));
            EXPECT_THAT(page, Not(HasSubstr(in_german ? "gefunden" : "found")));
            EXPECT_THAT(page, Not(HasSubstr("{{")));
        }
    }
}

TEST(delivered_notice, is_the_page_of_a_threat)
{
    EXPECT_EQ(notice_template().page({cause::threat, "t", "n"}), service::notice_page("t", "n"));
}

} // namespace notice_template_test
