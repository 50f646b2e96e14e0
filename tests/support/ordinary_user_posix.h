#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

namespace test {

/// The process acts as a user other than root for the lifetime of the object; without root's rights as the user it is.
class ordinary_user
{
public:
    ordinary_user()
    {
        constexpr uid_t some_user = 4711;
        if (before_ == 0) {
            EXPECT_EQ(::seteuid(some_user), 0);
        }
    }
    ordinary_user(const ordinary_user&) = delete;
    ordinary_user& operator=(const ordinary_user&) = delete;
    ~ordinary_user() { EXPECT_EQ(::seteuid(before_), 0); }

private:
    uid_t before_ = ::geteuid();
};

} // namespace test
