#include "service/file_names.h"
#include "service/wildcard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace file_names_test {

using service::file_names;
using testing::ElementsAre;
using testing::IsEmpty;

bool is_program(std::string_view name)
{
    const service::wildcard pattern("*.exe");
    const auto names = file_names(name);
    return std::any_of(names.begin(), names.end(), [&](const auto& candidate) { return pattern.matches(candidate); });
}

TEST(file_names, are_without_case)
{
    EXPECT_THAT(file_names("Invoice.PDF"), ElementsAre(U"invoice.pdf"));
    EXPECT_THAT(file_names("\xC3\x84.x"), ElementsAre(U"\xE4.x"));
    EXPECT_THAT(file_names(""), IsEmpty());
    EXPECT_THAT(file_names(" . "), IsEmpty());
}

TEST(file_names, see_through_what_the_system_ignores)
{
    for (const std::string_view name :
         {"a.exe", "A.EXE", "a.exe.", "a.exe ", "a.exe . .", " a.exe", "a.exe::$DATA", "a.exe:x.txt", "a.exe. :x",
          "dir/a.exe", "..\\dir\\a.exe", "a.exe/", "a.exe\\ .", "a.exe\r\n",
          "a.ex\x01"
          "e"}) {
        EXPECT_TRUE(is_program(name)) << testing::PrintToString(name);
    }
    EXPECT_TRUE(is_program(std::string_view("a.exe\0.txt", 10)));
    EXPECT_TRUE(is_program(std::string_view("a.txt\0.exe", 10)));
    EXPECT_TRUE(is_program(std::string_view("a.exe \0", 7)));
}

TEST(file_names, see_through_characters_that_hide_others)
{
    for (const std::string_view name : {"invoice\xE2\x80\xAE"
                                        "fdp.exe", // right-to-left override: shown as "invoiceexe.pdf"
                                        "a.e\xE2\x80\xAE"
                                        "xe",
                                        "a.exe\xE2\x80\xAC", // and its end
                                        "a.ex\xE2\x81\xA6"
                                        "e", // isolate
                                        "a.exe\xE2\x80\x8B",
                                        "a.\xE2\x80\x8B"
                                        "exe",                                    // without width
                                        "a\xEF\xBB\xBF.exe", "a.exe.\xC2\xAD"}) { // byte order mark, soft hyphen
        EXPECT_TRUE(is_program(name)) << testing::PrintToString(name);
    }
}

TEST(file_names, of_harmless_files_remain_harmless)
{
    for (const std::string_view name : {"a.exe.txt", "exe", "a.exe_", "a.exe/b.txt", "aexe", "a.ex"}) {
        EXPECT_FALSE(is_program(name)) << name;
    }
}

TEST(file_names, are_bounded)
{
    const std::string name = "begin" + std::string(100000, 'x') + "end.exe";
    const auto names = file_names(name);
    ASSERT_EQ(names.size(), 1U);
    EXPECT_EQ(names.front().size(), 1024U);
    EXPECT_TRUE(is_program(name));
    EXPECT_TRUE(names.front().starts_with(U"beginx"));
}

} // namespace file_names_test
