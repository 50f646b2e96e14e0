#include "tool/http/fields.h"
#include "tool/http/head_records.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using http::field_less;
using http::fields;
using http::range;

/// What the table replaces: a tree that is ordered by name.
using tree = std::map<range, range, field_less>;

constexpr std::size_t some = 5;
constexpr std::size_t more_than_inline = fields::inline_size + 9;

std::string shown(const auto& table)
{
    std::string text;
    for (const auto& [name, value] : table) {
        text.append(name).append("=").append(value).append(";");
    }
    return text;
}

/// Returns names without order, of which some are the same in another case of letters.
std::vector<std::string> names(std::size_t count, std::mt19937& random)
{
    std::vector<std::string> result(count);
    for (std::string& name : result) {
        const bool longer = random() % 2 == 0;
        name = longer ? "Common-" : "";
        do {
            name += "aBcXyZ-_\xE4"[random() % 9];
        } while (random() % 3 != 0);
    }
    return result;
}

void expect_same(const tree& expected, const fields& table, const std::vector<std::string>& names)
{
    ASSERT_EQ(shown(expected), shown(table));
    ASSERT_EQ(expected.size(), table.size());
    ASSERT_EQ(expected.empty(), table.empty());
    for (const std::string& name : names) {
        const auto found = expected.find(name);
        ASSERT_EQ(found != expected.end(), table.contains(name));
        if (found != expected.end()) {
            ASSERT_EQ(found->second, table.at(name));
            ASSERT_EQ(found->first.data(), table.find(name)->first.data());
        }
    }
}

TEST(fields, entries_that_are_appended_and_ordered_are_those_of_a_tree)
{
    std::mt19937 random(1);
    for (int round = 0; round < 2'000 && !testing::Test::HasFatalFailure(); ++round) {
        const auto all = names(random() % 70, random);
        tree expected;
        fields table;
        for (const std::string& name : all) {
            const range value = all[random() % all.size()];
            expected.emplace(name, value);
            table.append(name, value);
        }
        table.order();
        expect_same(expected, table, names(20, random));
        expect_same(expected, table, all);
    }
}

TEST(fields, changes_one_by_one_are_those_of_a_tree)
{
    std::mt19937 random(2);
    const auto all = names(90, random);
    tree expected;
    fields table;
    for (int step = 0; step < 4'000 && !testing::Test::HasFatalFailure(); ++step) {
        const std::string& name = all[random() % all.size()];
        // Rises above the inline size and falls below it.
        if (random() % 500 < 250 + (step / 500 % 2 == 0 ? 200U : 0U)) {
            const auto [place, added] = table.emplace(name, "1");
            ASSERT_EQ(expected.emplace(name, "1").second, added);
            ASSERT_EQ(table.find(name), place);
        } else if (const auto* const found = table.find(name); found != table.end()) {
            table.erase(found);
            expected.erase(name);
        }
        expect_same(expected, table, all);
    }
}

void fill(fields& table, std::size_t count)
{
    static const std::vector<std::string> all = [] {
        std::vector<std::string> made;
        for (std::size_t index = 0; index < more_than_inline; ++index) {
            made.push_back("n" + std::to_string(index));
        }
        return made;
    }();
    for (std::size_t index = 0; index < count; ++index) {
        table.emplace(all[index], all[index]);
    }
}

TEST(fields, copies_and_moves_carry_all_entries_whatever_the_target_contained)
{
    for (const std::size_t count : {std::size_t{0}, some, more_than_inline}) {
        for (const std::size_t before : {std::size_t{0}, some, more_than_inline}) {
            fields source;
            fill(source, count);
            const std::string text = shown(source);
            fields copied;
            fill(copied, before);
            copied = source;
            EXPECT_EQ(text, shown(copied));
            EXPECT_EQ(text, shown(source));
            fields moved;
            fill(moved, before);
            moved = std::move(copied);
            EXPECT_EQ(text, shown(moved));
            EXPECT_EQ(text, shown(fields(moved)));
            EXPECT_EQ(text, shown(fields(std::move(moved))));
        }
    }
}

TEST(fields, a_table_that_was_moved_from_is_empty_and_can_be_filled)
{
    for (const std::size_t count : {some, more_than_inline}) {
        fields source;
        fill(source, count);
        const fields first = std::move(source);
        EXPECT_TRUE(source.empty()); // NOLINT(bugprone-use-after-move): the state is specified
        EXPECT_EQ(count, first.size());
        fill(source, count);
        fields second;
        fill(second, more_than_inline);
        second = std::move(source);
        EXPECT_TRUE(source.empty()); // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(shown(first), shown(second));
        source.emplace("other", "1");
        EXPECT_EQ("other=1;", shown(source));
    }
}

TEST(fields, an_assignment_to_itself_changes_nothing)
{
    fields table;
    fill(table, more_than_inline);
    const std::string text = shown(table);
    fields& same = table;
    table = same;
    EXPECT_EQ(text, shown(table));
    table = std::move(same);
    EXPECT_EQ(text, shown(table));
}

TEST(fields, as_many_entries_as_fit_inline_are_part_of_the_object)
{
    fields table;
    fill(table, fields::inline_size);
    const auto* const object = reinterpret_cast<const char*>(&table);
    const auto* const entry = reinterpret_cast<const char*>(table.begin());
    EXPECT_TRUE(object <= entry && entry < object + sizeof table);
}

TEST(fields, an_empty_name_is_equivalent_to_every_name)
{
    fields table;
    EXPECT_FALSE(table.contains(""));
    EXPECT_TRUE(table.emplace("", "1").second);
    EXPECT_FALSE(table.emplace("a", "2").second);
    EXPECT_EQ("1", table.at("any"));
    table.erase(table.begin());
    table.emplace("b", "3");
    table.emplace("a", "4");
    EXPECT_FALSE(table.emplace("", "5").second);
    EXPECT_EQ("4", table.at(""));
}

TEST(fields, at_raises_for_an_absent_name)
{
    fields table;
    EXPECT_THROW((void)table.at("a"), std::out_of_range);
    fill(table, more_than_inline);
    EXPECT_THROW((void)table.at("a"), std::out_of_range);
}

TEST(fields, a_record_whose_text_is_moved_points_into_the_copy)
{
    const std::string text = "METHODurivname:value";
    const std::string copy = text;
    http::request_data record;
    record.method = range(text).substr(0, 6);
    record.uri = range(text).substr(6, 3);
    record.version = range(text).substr(9, 1);
    record.fields.emplace(range(text).substr(10, 4), range(text).substr(15));
    http::move_text(record, text.data(), copy.data());
    EXPECT_EQ(copy.data(), record.method.data());
    EXPECT_EQ("METHOD", record.method);
    EXPECT_EQ(copy.data() + 6, record.uri.data());
    EXPECT_EQ(copy.data() + 9, record.version.data());
    EXPECT_EQ(nullptr, record.protocol.data());
    EXPECT_EQ(copy.data() + 10, record.fields.begin()->first.data());
    EXPECT_EQ(copy.data() + 15, record.fields.at("NAME").data());

    http::response_data response;
    response.protocol = range(text).substr(0, 6);
    response.version = range(text).substr(6, 3);
    response.reason = range(text).substr(9, 0);
    http::move_text(response, text.data(), copy.data());
    EXPECT_EQ(copy.data(), response.protocol.data());
    EXPECT_EQ(copy.data() + 6, response.version.data());
    EXPECT_EQ(copy.data() + 9, response.reason.data());
}

} // namespace
