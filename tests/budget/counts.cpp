#include "tests/budget/counts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <sstream>
#include <string>
#include <vector>

namespace budget {

namespace {

constexpr std::size_t large = std::size_t{128} << 10U;
constexpr std::size_t most_aside = 64;

constexpr std::array<const char*, kinds> names{"sends",           "receives",         "completions", "polls",
                                               "socket settings", "file calls",       "mappings",    "hand-overs",
                                               "allocations",     "large allocations"};

constinit std::array<std::atomic<std::uint64_t>, kinds> values{};
constinit std::array<std::atomic<std::uintptr_t>, most_aside> aside{};

bool is_aside() noexcept
{
    const std::uintptr_t self = own_thread();
    return std::any_of(aside.begin(), aside.end(), [self](const auto& one) { return one == self; });
}

counts current() noexcept
{
    counts result{};
    std::copy(values.begin(), values.end(), result.begin());
    return result;
}

std::string table_of(const counts& found)
{
    std::ostringstream text;
    for (std::size_t i = 0; i < kinds; ++i) {
        text << "\n  " << names[i] << ": " << found[i];
    }
    return text.str();
}

} // namespace

void count(counted what) noexcept
{
    if (!is_aside()) {
        ++values[static_cast<std::size_t>(what)];
    }
}

void count_allocation(std::size_t size) noexcept
{
    count(counted::allocations);
    if (size >= large) {
        count(counted::large_allocations);
    }
}

set_aside::set_aside() noexcept
    : place_(0)
{
    std::uintptr_t free = 0;
    while (!aside[place_].compare_exchange_strong(free, own_thread())) {
        place_ = (place_ + 1) % most_aside;
        free = 0;
    }
}

set_aside::~set_aside()
{
    aside[place_] = 0;
}

counts median_of(std::size_t times, const std::function<void()>& work)
{
    std::array<std::vector<std::uint64_t>, kinds> all;
    for (auto& one : all) {
        one.reserve(times);
    }
    for (std::size_t turn = 0; turn < times; ++turn) {
        const counts before = current();
        work();
        const counts after = current();
        for (std::size_t i = 0; i < kinds; ++i) {
            all[i].push_back(after[i] - before[i]);
        }
    }
    counts result{};
    for (std::size_t i = 0; i < kinds; ++i) {
        const auto middle = all[i].begin() + static_cast<std::ptrdiff_t>(times / 2);
        std::nth_element(all[i].begin(), middle, all[i].end());
        result[i] = *middle;
    }
    return result;
}

void expect_within(const char* what, const counts& found, const limit* rows, std::size_t size)
{
    ::testing::Test::RecordProperty(what, table_of(found));
    std::ostringstream over;
    for (std::size_t i = 0; i < size; ++i) {
        const auto kind = static_cast<std::size_t>(rows[i].what);
        if (found[kind] > rows[i].most) {
            over << names[kind] << ' ' << found[kind] << " of " << rows[i].most << "; ";
        }
    }
    EXPECT_EQ(over.str(), "") << what << " is over its budget; all counts:" << table_of(found);
}

} // namespace budget
