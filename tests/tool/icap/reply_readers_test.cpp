#include "tests/support/guarded_buffer.h"
#include "tests/support/log_capture.h"
#include "tests/tool/icap/icap_text.h"
#include "tool/icap/infection_tokens.h"
#include "tool/icap/reply_readers.h"

#include <gtest/gtest.h>

namespace {

using strings = std::vector<std::string>;

std::shared_ptr<icap::message> answer(const strings& lines)
{
    strings all = lines;
    all.emplace_back("Encapsulated: null-body=0");
    return test::extract(test::reply(200, all));
}

std::string infection(const std::string& value, std::string_view key)
{
    return icap::get_infection_param(answer({"X-Infection-Found: " + value}), key);
}

TEST(get_istag, gives_the_value_with_its_quotes)
{
    EXPECT_EQ(icap::get_istag(answer({"ISTag: \"5BDEEEA9-12E4\""})), "\"5BDEEEA9-12E4\"");
    EXPECT_EQ(icap::get_istag(answer({"istag: x"})), "x");
    EXPECT_EQ(icap::get_istag(answer({"ISTag: first", "ISTag: second"})), "first");
    EXPECT_EQ(icap::get_istag(answer({"ISTag: trailing  "})), "trailing  ");
    EXPECT_EQ(icap::get_istag(answer({})), "");
}

TEST(get_methods, splits_at_every_comma_and_blank)
{
    EXPECT_EQ(icap::get_methods(answer({"Methods: REQMOD"})), strings{"REQMOD"});
    EXPECT_EQ(icap::get_methods(answer({"Methods: REQMOD,RESPMOD"})), (strings{"REQMOD", "RESPMOD"}));
    EXPECT_EQ(icap::get_methods(answer({"Methods: REQMOD, RESPMOD"})), (strings{"REQMOD", "", "RESPMOD"}));
    EXPECT_EQ(icap::get_methods(answer({"Methods: A  B,"})), (strings{"A", "", "B", ""}));
    EXPECT_EQ(icap::get_methods(answer({"Methods: A\tB"})), strings{"A\tB"});
}

TEST(get_methods, is_empty_only_when_the_header_is_absent)
{
    EXPECT_EQ(icap::get_methods(answer({})), strings{});
    EXPECT_EQ(icap::get_methods(answer({"Methods:"})), strings{""});
}

TEST(get_preview, gives_the_leading_number)
{
    EXPECT_EQ(icap::get_preview(answer({"Preview: 4096"})), 4096U);
    EXPECT_EQ(icap::get_preview(answer({"Preview: 31 bytes"})), 31U);
    EXPECT_EQ(icap::get_preview(answer({"Preview: none"})), 0U);
    EXPECT_EQ(icap::get_preview(answer({"Preview:"})), 0U);
    EXPECT_EQ(icap::get_preview(answer({})), 0U);
}

TEST(leading_number, reads_white_space_sign_and_digits_and_nothing_behind)
{
    const struct
    {
        const char* text;
        std::int32_t number;
    } cases[] = {{"", 0},
                 {"0", 0},
                 {"7", 7},
                 {"  \t\r\n\v\f42x", 42},
                 {"+5", 5},
                 {"-5", -5},
                 {"--5", 0},
                 {"+", 0},
                 {"- 5", 0},
                 {"x5", 0},
                 {"0x10", 0},
                 {"2147483647", 2147483647},
                 {"2147483648", 2147483647},
                 {"-2147483647", -2147483647},
                 {"-2147483648", -2147483647 - 1},
                 {"-2147483649", -2147483647 - 1},
                 {"99999999999999999999999999999999", 2147483647},
                 {"-99999999999999999999999999999999", -2147483647 - 1},
                 {"00000000000000000000000000000000000000000012", 12}};
    for (const auto& tested : cases) {
        const test::guarded_buffer text(tested.text);
        EXPECT_EQ(icap::leading_number(text.view()), tested.number) << tested.text;
    }
}

TEST(get_infection_param, finds_each_key_of_a_list)
{
    const std::string value = "Type=0;Resolution=1;Threat=Some.Name;";
    EXPECT_EQ(infection(value, "Type"), "0");
    EXPECT_EQ(infection(value, "Resolution"), "1");
    EXPECT_EQ(infection(value, "Threat"), "Some.Name");
    EXPECT_EQ(infection(value, "Other"), "");
}

TEST(get_infection_param, finds_a_pair_without_a_semicolon)
{
    EXPECT_EQ(infection("Threat=X", "Threat"), "X");
}

TEST(get_infection_param, counts_case_of_keys)
{
    EXPECT_EQ(infection("resolution=1;", "Resolution"), "");
    EXPECT_EQ(infection("Resolution=1;", "resolution"), "");
}

TEST(get_infection_param, trims_keys_but_not_values)
{
    EXPECT_EQ(infection("Type=0; Threat =X", "Threat"), "X");
    EXPECT_EQ(infection("Type=0;\t\v\fThreat\t= X \t;", "Threat"), " X \t");
}

TEST(get_infection_param, cuts_a_value_at_a_further_equals_sign)
{
    EXPECT_EQ(infection("Threat=A=B;", "Threat"), "A");
    EXPECT_EQ(infection("Threat==B;", "Threat"), "");
}

TEST(get_infection_param, takes_a_key_without_an_equals_sign_as_an_empty_value)
{
    EXPECT_EQ(infection("Threat;Threat=X", "Threat"), "");
}

TEST(get_infection_param, stops_at_the_first_match)
{
    EXPECT_EQ(infection("Threat=1;Threat=2", "Threat"), "1");
}

TEST(get_infection_param, is_empty_without_the_header_or_its_value)
{
    EXPECT_EQ(icap::get_infection_param(answer({}), "Threat"), "");
    EXPECT_EQ(infection("", "Threat"), "");
}

// ---- the log

std::vector<test::log_record> expected(std::uint32_t level, const strings& texts)
{
    std::vector<test::log_record> lines;
    for (const std::string& text : texts) {
        lines.push_back({level, "icap", text});
    }
    return lines;
}

TEST(get_infection_param, logs_that_the_header_was_not_found)
{
    for (const strings& lines : {strings{}, strings{"X-Infection-Found:"}}) {
        const auto message = answer(lines);
        const test::log_capture log;
        (void)icap::get_infection_param(message, "Threat");
        EXPECT_EQ(log.lines(), expected(300, {"tag 'X-Infection-Found' was not found"}));
    }
}

TEST(get_infection_param, logs_each_token_up_to_the_match)
{
    const auto message = answer({"X-Infection-Found: Type=0;; Threat = X;Resolution=1;"});
    const test::log_capture log;
    (void)icap::get_infection_param(message, "Threat");
    EXPECT_EQ(log.lines(),
              expected(500, {"infection found(not parsed): 'Type=0'", "infection found(not parsed): ''",
                             "infection found(not parsed): ' Threat = X'", "infection found: Threat=' X'"}));
}

TEST(get_infection_param, logs_every_token_when_none_matches)
{
    const auto message = answer({"X-Infection-Found: Type=0;"});
    const test::log_capture log;
    (void)icap::get_infection_param(message, "Threat");
    EXPECT_EQ(log.lines(), expected(500, {"infection found(not parsed): 'Type=0'", "infection found(not parsed): ''"}));
}

TEST(get_infection_param, logs_a_value_that_gave_no_tokens)
{
    const test::log_capture log;
    EXPECT_EQ(icap::detail::pick_infection_value({}, "X-Infection-Found", "whole value", "Threat"), "");
    EXPECT_EQ(log.lines(), expected(300, {"in tag 'X-Infection-Found' the ';' was missed: whole value"}));
}

} // namespace
