#include "service/configuration/configuration_file.h"
#include "tests/support/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace configuration_file_test {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using values = std::vector<std::string>;

/// Returns the values of the only key, which is "key".
values values_of(std::string_view text)
{
    const service::file_contents read = service::parse_configuration(text, "f");
    EXPECT_THAT(read.problems, ElementsAre()) << text;
    if (read.entries.size() != 1 || read.entries.front().key != "key") {
        ADD_FAILURE() << text;
        return {};
    }
    return read.entries.front().values;
}

std::string problem_of(std::string_view text)
{
    const service::file_contents read = service::parse_configuration(text, "f");
    EXPECT_EQ(read.problems.size(), 1U) << text;
    return read.problems.empty() ? std::string() : read.problems.front();
}

TEST(configuration_file, contains_keys_with_values)
{
    const auto read = service::parse_configuration("\xEF\xBB\xBF# comment\n; comment\r\n\r\n  one = 1\t# comment\r\n"
                                                   "two=\"a # b\"\nthree = 'x'",
                                                   "f");
    EXPECT_THAT(read.problems, ElementsAre());
    ASSERT_EQ(read.entries.size(), 3U);
    EXPECT_EQ(read.entries[0].key, "one");
    EXPECT_EQ(read.entries[0].line, 4U);
    EXPECT_THAT(read.entries[0].values, ElementsAre("1"));
    EXPECT_EQ(read.entries[1].line, 5U);
    EXPECT_THAT(read.entries[1].values, ElementsAre("a # b"));
    EXPECT_THAT(read.entries[2].values, ElementsAre("x"));
}

TEST(configuration_file, keeps_what_quotes_contain)
{
    EXPECT_THAT(values_of("key = \"a, b\""), ElementsAre("a, b"));
    EXPECT_THAT(values_of("key = 'say \"x\" = #1; [no]'"), ElementsAre("say \"x\" = #1; [no]"));
    EXPECT_THAT(values_of("key = \"C:\\logs\\service.txt\""), ElementsAre("C:\\logs\\service.txt"));
    EXPECT_THAT(values_of("key = \"\""), ElementsAre(""));
    EXPECT_THAT(values_of("key = icap://[::1]:1344/x"), ElementsAre("icap://[::1]:1344/x"));
}

TEST(configuration_file, contains_arrays_over_any_number_of_lines)
{
    EXPECT_THAT(values_of("key = [a]"), ElementsAre("a"));
    EXPECT_THAT(values_of("key = [a, 'b, c' , \"d\"]"), ElementsAre("a", "b, c", "d"));
    EXPECT_THAT(values_of("key = [ # first\n  'a,b', # ] second\n\n  c\n]\n"), ElementsAre("a,b", "c"));
    const auto read = service::parse_configuration("a = [\n1,\n2]\nb = x y", "f");
    EXPECT_THAT(read.problems, ElementsAre("f:4: a value with blanks needs quotes"));
}

TEST(configuration_file, says_what_is_wrong_and_where)
{
    EXPECT_EQ(problem_of("\nword"), "f:2: KEY = VALUE is expected");
    EXPECT_EQ(problem_of("x"), "f:1: KEY = VALUE is expected");
    EXPECT_EQ(problem_of("= 1"), "f:1: KEY = VALUE is expected");
    EXPECT_EQ(problem_of("key ="), "f:1: the key has no value");
    EXPECT_EQ(problem_of("a="), "f:1: the key has no value");
    EXPECT_EQ(problem_of("key = []"), "f:1: the key has no value");
    EXPECT_EQ(problem_of("[section]"), "f:1: sections are not supported");
    EXPECT_EQ(problem_of("[[section]]"), "f:1: sections are not supported");
    EXPECT_EQ(problem_of("key = a b"), "f:1: a value with blanks needs quotes");
    EXPECT_EQ(problem_of("key = a, b"), "f:1: a value with commas needs quotes");
    EXPECT_EQ(problem_of("key = `a`"), "f:1: a value with a grave accent needs quotes");
    EXPECT_EQ(problem_of("key = \"a"), "f:1: a quote is not closed");
    EXPECT_EQ(problem_of("key = [a\nb = 1"), "f:1: the array is not closed");
    EXPECT_EQ(problem_of("key = [a]b"), "f:1: something follows the array");
    EXPECT_EQ(problem_of("key = \"a\\\"b\""), "f:1: a quote is not closed");
    EXPECT_EQ(problem_of("key = \"a\\\""), "f:1: a backslash before a quote is not supported");
    EXPECT_EQ(problem_of(std::string_view("key = a\0b", 9)), "f:1: a zero byte is not supported");
    EXPECT_EQ(problem_of("key = 1\nother = 2\n\nkey = 3"), "f:4: 'key' was specified in line 1 already");
}

TEST(configuration_file, that_cannot_be_read_is_a_problem)
{
    const host::test::temporary_folder folder;
    const auto problems = [](const std::filesystem::path& path) {
        return service::read_configuration_file(path.string()).problems;
    };
    EXPECT_THAT(problems(folder.path()), ElementsAre(folder.path().string() + ": is a folder"));
    EXPECT_THAT(problems(folder.path() / "none"), ElementsAre(HasSubstr("none: cannot be read: ")));
    const auto large = folder.write("large", std::string((1U << 20U) + 1, '\n'));
    EXPECT_THAT(problems(large), ElementsAre(large.string() + ": is too large"));
    EXPECT_THAT(problems(folder.write("largest", std::string(1U << 20U, '\n'))), ElementsAre());
    const auto wrong = folder.write("wrong", "a = 1\nb");
    EXPECT_THAT(problems(wrong), ElementsAre(wrong.string() + ":2: KEY = VALUE is expected"));
}

TEST(configuration_file, contains_each_value_as_it_was_written)
{
    for (const std::string value :
         {"1", "0.5", "", "x", "true", "a b", "a,b", "#", "a\"b", "it's", "a\\b", "`", "[", "]", "=", "-1"}) {
        EXPECT_THAT(values_of("key = " + service::value_in_file(value)), ElementsAre(value));
        EXPECT_THAT(values_of("key = [1, " + service::value_in_file(value) + "]"), ElementsAre("1", value));
    }
    for (const std::string value : {"a\nb", "\"'", "a\\"}) {
        EXPECT_EQ(service::value_in_file(value), "") << value;
    }
}

} // namespace configuration_file_test
