#include "tool/http/inmemory_cache.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using http::inmemory_cache;

std::string contents(const inmemory_cache& cache)
{
    return {cache.begin(), cache.end()};
}

void put(inmemory_cache& cache, std::string_view text)
{
    EXPECT_EQ(text.size(), cache.append(text.data(), text.data() + text.size()));
}

template <typename Action>
std::string out_of_range_text(Action&& action)
{
    try {
        action();
    } catch (const std::out_of_range& failure) {
        return failure.what();
    }
    return "(nothing raised)";
}

TEST(inmemory_cache, starts_empty)
{
    const inmemory_cache cache;
    EXPECT_TRUE(cache.empty());
    EXPECT_EQ(0U, cache.size());
}

TEST(inmemory_cache, holds_exactly_16640_bytes_and_not_one_more)
{
    inmemory_cache cache;
    put(cache, std::string(16640, 'x'));
    const std::string one = "y";
    EXPECT_EQ("inmemory_cache::append() failed: max size exceeded",
              out_of_range_text([&] { cache.append(one.data(), one.data() + 1); }));
    EXPECT_EQ(16640U, cache.size());
    EXPECT_EQ(0U, cache.append(one.data(), one.data()));
}

TEST(inmemory_cache, counts_the_bytes_it_holds_already)
{
    inmemory_cache cache;
    put(cache, "ab");
    const std::string rest(16639, 'x');
    EXPECT_EQ("inmemory_cache::append() failed: max size exceeded",
              out_of_range_text([&] { cache.append(rest.data(), rest.data() + rest.size()); }));
    EXPECT_EQ("ab", contents(cache));
}

TEST(inmemory_cache, eraise_moves_the_rest_down)
{
    inmemory_cache cache;
    put(cache, "abcdef");
    cache.eraise(cache.begin() + 1, cache.begin() + 3);
    EXPECT_EQ("adef", contents(cache));
    cache.eraise(cache.begin(), cache.begin());
    EXPECT_EQ("adef", contents(cache));
    cache.eraise(cache.begin(), cache.end());
    EXPECT_TRUE(cache.empty());
}

TEST(inmemory_cache, bounds_outside_the_data_are_refused)
{
    inmemory_cache cache;
    put(cache, "abc");
    const std::string first = "inmemory_cache::eraise() failed: out of bound for first";
    const std::string last = "inmemory_cache::eraise() failed: out of bound for last";
    EXPECT_EQ(first, out_of_range_text([&] { cache.eraise(cache.end() + 1, cache.end() + 1); }));
    EXPECT_EQ(first, out_of_range_text([&] { cache.eraise(cache.begin() - 1, cache.end()); }));
    EXPECT_EQ(last, out_of_range_text([&] { cache.eraise(cache.begin(), cache.end() + 1); }));
    EXPECT_EQ(last, out_of_range_text([&] { cache.eraise(cache.begin() + 2, cache.begin() + 1); }));
    EXPECT_EQ("abc", contents(cache));
}

} // namespace
