#include "logging/configuration.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>
#include <string>

namespace {

using logging::configuration;
using logging::debugger_target;
using logging::file_target;
using logging::parse_configuration;
using logging::stderr_target;

std::string complaint_about(std::wstring_view text)
{
    try {
        (void)parse_configuration(text);
    } catch (const std::invalid_argument& failure) {
        return failure.what();
    }
    return {};
}

file_target file_of(std::wstring_view text)
{
    const configuration read = parse_configuration(text);
    if (read.targets.size() != 1 || !std::holds_alternative<file_target>(read.targets.front())) {
        ADD_FAILURE() << "not one file";
        return {};
    }
    return std::get<file_target>(read.targets.front());
}

TEST(configuration, reads_the_whole_grammar)
{
    const configuration read =
        parse_configuration(L"level=400; level.wpx=500; file=C:\\logs\\pw.log,size=10M,count=3; stderr; debugger");
    EXPECT_EQ(read.levels.general, 400U);
    EXPECT_EQ(read.levels.of("wpx"), 500U);
    EXPECT_EQ(read.levels.of("outlook"), 400U);
    EXPECT_EQ(read.levels.highest(), 500U);
    ASSERT_EQ(read.targets.size(), 3U);
    EXPECT_EQ(std::get<file_target>(read.targets[0]), (file_target{L"C:\\logs\\pw.log", 10485760, 3}));
    EXPECT_TRUE(std::holds_alternative<stderr_target>(read.targets[1]));
    EXPECT_TRUE(std::holds_alternative<debugger_target>(read.targets[2]));
}

TEST(configuration, has_defaults_for_what_is_left_out)
{
    const configuration read = parse_configuration(L"file=pw.log");
    EXPECT_EQ(read.levels.general, 400U);
    EXPECT_EQ(file_of(L"file=pw.log"), (file_target{L"pw.log", 10U * 1024U * 1024U, 5}));
}

TEST(configuration, names_no_destination_in_an_empty_text)
{
    for (const wchar_t* text : {L"", L"  ", L";", L" ; ; "}) {
        EXPECT_TRUE(parse_configuration(text).targets.empty());
    }
}

TEST(configuration, does_not_mind_blanks_case_and_empty_parts)
{
    EXPECT_EQ(parse_configuration(L" LEVEL = 300 ;;\tStdErr\r\n; Level.Wpx=200;"),
              parse_configuration(L"level=300;stderr;level.wpx=200"));
}

TEST(configuration, reads_sizes_with_and_without_a_unit)
{
    EXPECT_EQ(file_of(L"file=a,size=1").size, 1U);
    EXPECT_EQ(file_of(L"file=a,size=512").size, 512U);
    EXPECT_EQ(file_of(L"file=a,size=2k").size, 2048U);
    EXPECT_EQ(file_of(L"file=a , size = 3M").size, 3U << 20U);
    EXPECT_EQ(file_of(L"file=a,size=4G").size, std::uint64_t{4} << 30U);
    EXPECT_EQ(file_of(L"file=a,count=0").count, 0U);
    EXPECT_EQ(file_of(L"file=a,count=1000").count, 1000U);
}

TEST(configuration, reads_sizes_up_to_the_largest_and_none_beyond)
{
    constexpr auto largest = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(file_of(L"file=a,size=" + std::to_wstring(largest)).size, largest);
    EXPECT_EQ(file_of(L"file=a,size=" + std::to_wstring(largest >> 10U) + L"K").size, largest >> 10U << 10U);
    EXPECT_NE(complaint_about(L"file=a,size=18446744073709551617"), "") << "one, were it cut to 64 bits";
    EXPECT_NE(complaint_about(L"file=a,size=" + std::to_wstring((largest >> 10U) + 1) + L"K"), "");
}

TEST(configuration, takes_separators_in_a_quoted_path)
{
    EXPECT_EQ(file_of(L"file=\"C:\\a;b,c =d.log\",count=2"), (file_target{L"C:\\a;b,c =d.log", 10485760, 2}));
    EXPECT_EQ(file_of(L"file=C:\\with blank\\\u00e9.log").path, L"C:\\with blank\\\u00e9.log");
    EXPECT_EQ(file_of(L"file=a=b.log").path, L"a=b.log");
}

TEST(configuration, takes_levels_from_0_to_599)
{
    EXPECT_EQ(parse_configuration(L"level=0").levels.general, 0U);
    EXPECT_EQ(parse_configuration(L"level=599").levels.general, 599U);
    for (const wchar_t* text : {L"level=600", L"level=-1", L"level=", L"level", L"level=4x", L"level=0x10",
                                L"level=99999999999999999999999", L"level.wpx=600", L"level.wpx"}) {
        EXPECT_NE(complaint_about(text).find("a level is a number from 0 to 599"), std::string::npos);
    }
}

TEST(configuration, takes_letters_digits_and_three_signs_in_the_name_of_a_logger)
{
    EXPECT_EQ(parse_configuration(L"level.az_09-x.y=500").levels.of("az_09-x.y"), 500U);
    EXPECT_EQ(parse_configuration(L"LEVEL.AZ_09-X.Y=500").levels.of("az_09-x.y"), 500U);
    for (const wchar_t* const other : {L"level.a/=5", L"level.a:=5", L"level.a`=5", L"level.a{=5", L"level.a+=5"}) {
        EXPECT_NE(complaint_about(other), "") << "the name ends in a character beside those that are allowed";
    }
}

TEST(configuration, names_the_offending_part)
{
    EXPECT_EQ(complaint_about(L"level=400; colour=blue; stderr"),
              "logging configuration: \"colour=blue\": expected level=N, level.LOGGER=N, file=PATH, stderr or "
              "debugger");
    EXPECT_NE(complaint_about(L"stderr=1").find("\"stderr=1\""), std::string::npos);
    EXPECT_NE(complaint_about(L"debugger=").find("\"debugger=\""), std::string::npos);
    EXPECT_NE(complaint_about(L"file").find("\"file\""), std::string::npos);
    EXPECT_NE(complaint_about(L"\u00e9").find("\"\xC3\xA9\""), std::string::npos);
}

TEST(configuration, refuses_what_makes_no_path)
{
    for (const wchar_t* text : {L"file=", L"file=\"\"", L"file=,size=1", L"file=a\"b\"c"}) {
        EXPECT_NE(complaint_about(text).find("the path of the file is missing or is none"), std::string::npos);
    }
    EXPECT_NE(complaint_about(L"file=\"open; stderr").find("a double quote is left open"), std::string::npos);
    EXPECT_NE(complaint_about(std::wstring_view(L"file=a\0b", 8)).find("is none"), std::string::npos);
}

TEST(configuration, refuses_wrong_file_options)
{
    for (const wchar_t* text : {L"file=a,size=0", L"file=a,size=", L"file=a,size", L"file=a,size=M", L"file=a,size=1T",
                                L"file=a,size=99999999999999999999", L"file=a,size=99999999999G"}) {
        EXPECT_NE(complaint_about(text).find("a size is a number of bytes"), std::string::npos);
    }
    for (const wchar_t* text : {L"file=a,count=1001", L"file=a,count=", L"file=a,count", L"file=a,count=-1"}) {
        EXPECT_NE(complaint_about(text).find("a count is a number from 0 to 1000"), std::string::npos);
    }
    EXPECT_EQ(complaint_about(L"file=a,colour=1"),
              "logging configuration: \"colour=1\": a file has the options size and count");
    EXPECT_NE(complaint_about(L"file=a,"), "");
}

TEST(configuration, refuses_a_level_without_a_logger)
{
    for (const wchar_t* text : {L"level.=1", L"level.a b=1", L"level.\u00e9=1"}) {
        EXPECT_NE(complaint_about(text).find("the name of a logger"), std::string::npos);
    }
}

TEST(configuration, refuses_what_comes_twice)
{
    EXPECT_NE(complaint_about(L"level=1;level=2").find("\"level=2\": the level is set twice"), std::string::npos);
    EXPECT_NE(complaint_about(L"level.wpx=1;level.WPX=2").find("set twice"), std::string::npos);
    EXPECT_NE(complaint_about(L"stderr;stderr").find("named twice"), std::string::npos);
    EXPECT_NE(complaint_about(L"debugger;debugger").find("named twice"), std::string::npos);
    EXPECT_NE(complaint_about(L"file=a.log;file=A.LOG,size=1").find("named twice"), std::string::npos);
    EXPECT_EQ(complaint_about(L"file=a.log;file=b.log;stderr;debugger"), "");
}

} // namespace
