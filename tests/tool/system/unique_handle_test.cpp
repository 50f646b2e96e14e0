#include "tool/system/unique_handle.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>
#include <vector>

namespace {

std::vector<int> closed;

struct counted_traits
{
    using type = int;
    static type invalid() noexcept { return -1; }
    static void close(type handle) noexcept { closed.push_back(handle); }
};
using counted_handle = winapi::unique_handle<counted_traits>;

class unique_handle : public testing::Test
{
protected:
    void SetUp() override { closed.clear(); }
};

TEST_F(unique_handle, closes_what_it_holds_once)
{
    {
        const counted_handle handle(7);
        EXPECT_TRUE(static_cast<bool>(handle));
        EXPECT_EQ(handle.get(), 7);
    }
    EXPECT_EQ(closed, std::vector<int>{7});
}

TEST_F(unique_handle, closes_nothing_when_it_holds_nothing)
{
    {
        const counted_handle handle;
        EXPECT_FALSE(static_cast<bool>(handle));
        EXPECT_EQ(handle.get(), -1);
    }
    EXPECT_TRUE(closed.empty());
}

TEST_F(unique_handle, gives_its_handle_away_when_moved)
{
    counted_handle first(1);
    counted_handle second(std::move(first));
    counted_handle third(3);
    third = std::move(second);
    EXPECT_EQ(closed, std::vector<int>{3});
    EXPECT_EQ(third.get(), 1);
}

TEST_F(unique_handle, survives_a_move_to_itself)
{
    counted_handle handle(1);
    counted_handle& alias = handle;
    handle = std::move(alias);
    EXPECT_EQ(handle.get(), 1);
    EXPECT_TRUE(closed.empty());
}

TEST_F(unique_handle, releases_without_closing)
{
    counted_handle handle(5);
    EXPECT_EQ(handle.release(), 5);
    EXPECT_FALSE(static_cast<bool>(handle));
    EXPECT_TRUE(closed.empty());
}

TEST_F(unique_handle, closes_the_old_one_when_it_takes_another)
{
    counted_handle handle(1);
    handle.reset(2);
    EXPECT_EQ(closed, std::vector<int>{1});
    handle.reset(2);
    EXPECT_EQ(closed, std::vector<int>{1}) << "the same handle stays open";
    *handle.put() = 3;
    EXPECT_EQ(closed, (std::vector<int>{1, 2}));
    EXPECT_EQ(handle.get(), 3);
}

TEST_F(unique_handle, exchanges_handles)
{
    counted_handle first(1);
    counted_handle second(2);
    first.swap(second);
    EXPECT_EQ(first.get(), 2);
    EXPECT_EQ(second.get(), 1);
    EXPECT_TRUE(closed.empty());
}

TEST_F(unique_handle, cannot_be_copied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<counted_handle>);
    EXPECT_FALSE(std::is_copy_assignable_v<counted_handle>);
}

} // namespace
