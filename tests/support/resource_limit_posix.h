#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace test {

using limited_resource = decltype(RLIMIT_NOFILE);

/// Limits a resource of the process while this object exists.
class resource_limit
{
public:
    resource_limit(limited_resource kind, rlim_t most)
        : kind_(kind)
    {
        EXPECT_EQ(::getrlimit(kind_, &before_), 0);
        const rlimit limited{std::min(most, before_.rlim_max), before_.rlim_max};
        EXPECT_EQ(::setrlimit(kind_, &limited), 0);
    }
    resource_limit(const resource_limit&) = delete;
    resource_limit& operator=(const resource_limit&) = delete;
    ~resource_limit() { ::setrlimit(kind_, &before_); }

private:
    limited_resource kind_;
    rlimit before_{};
};

/// Returns the descriptor that the next call that opens one returns.
inline int next_descriptor()
{
    const int next = ::open("/", O_RDONLY | O_CLOEXEC);
    EXPECT_GE(next, 0);
    ::close(next);
    return next;
}

/// Lets the process open that many further descriptors, if all below the next one are open.
class descriptor_limit : public resource_limit
{
public:
    explicit descriptor_limit(int further)
        : resource_limit(RLIMIT_NOFILE, static_cast<rlim_t>(next_descriptor() + further))
    {}
};

} // namespace test
