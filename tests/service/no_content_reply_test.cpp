#include "service/no_content_reply.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace no_content_reply_test {

using namespace std::chrono_literals;

class no_content_reply : public testing::Test
{
protected:
    std::string get(const std::string& istag, std::chrono::milliseconds now)
    {
        const auto make = [&] { return istag + std::to_string(++made); };
        return *cache.get(istag, make, service::no_content_reply::clock::time_point(now));
    }

    service::no_content_reply cache;
    int made = 0;
};

TEST_F(no_content_reply, is_made_once_for_a_second)
{
    EXPECT_EQ(get("a", 5000ms), "a1");
    EXPECT_EQ(get("a", 5999ms), "a1");
    EXPECT_EQ(get("a", 6000ms), "a2");
    EXPECT_EQ(get("a", 6001ms), "a2");
    EXPECT_EQ(get("a", 5999ms), "a3") << "the clock was set back";
}

TEST_F(no_content_reply, is_another_one_for_another_tag)
{
    EXPECT_EQ(get("a", 0ms), "a1");
    EXPECT_EQ(get("b", 0ms), "b2");
    EXPECT_EQ(get("b", 0ms), "b2");
}

TEST_F(no_content_reply, stays_valid_while_another_one_is_made)
{
    const auto first = cache.get("a", [] { return std::string("1"); });
    const auto second = cache.get("b", [] { return std::string("2"); });
    EXPECT_EQ(*first, "1");
    EXPECT_EQ(*second, "2");
}

} // namespace no_content_reply_test
