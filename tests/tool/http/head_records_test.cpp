#include "tool/http/head_records.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using http::field_less;
using http::fields;
using http::range;

TEST(head_records, names_are_ordered_with_case_ignored)
{
    const field_less before;
    EXPECT_TRUE(before("Host", "ISTAG"));
    EXPECT_TRUE(before("host", "ISTAG"));
    EXPECT_FALSE(before("ISTAG", "host"));
    EXPECT_FALSE(before("Host", "hOST"));
    EXPECT_FALSE(before("hOST", "Host"));
}

TEST(head_records, the_shorter_of_two_names_comes_first_when_they_begin_alike)
{
    const field_less before;
    EXPECT_TRUE(before("Content", "content-type"));
    EXPECT_FALSE(before("content-type", "Content"));
}

TEST(head_records, an_empty_name_is_not_ordered)
{
    const field_less before;
    EXPECT_FALSE(before("", "a"));
    EXPECT_FALSE(before("a", ""));
    EXPECT_FALSE(before("", ""));
}

TEST(head_records, bytes_above_ascii_are_not_folded)
{
    const field_less before;
    EXPECT_TRUE(before("\xC4", "\xE4"));
    EXPECT_TRUE(before("Z", "\xC4"));
}

TEST(head_records, of_two_entries_with_the_same_name_the_first_stays)
{
    fields table;
    table.emplace("ISTag", "first");
    table.emplace("istag", "second");
    ASSERT_EQ(1U, table.size());
    EXPECT_EQ("first", table.find(range("ISTAG"))->second);
}

TEST(head_records, iteration_follows_the_order_of_names_and_not_of_arrival)
{
    fields table;
    table.emplace("b", "1");
    table.emplace("C", "2");
    table.emplace("A", "3");
    std::string order;
    for (const auto& entry : table) {
        order += entry.first;
    }
    EXPECT_EQ("AbC", order);
}

} // namespace
