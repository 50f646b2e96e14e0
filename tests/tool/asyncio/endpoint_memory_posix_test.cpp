// Not part of a build with sanitizers, whose allocators do not report through mallinfo2.
#include "tool/asyncio/completion_port.h"
#include "tool/asyncio/endpoint_posix.h"

#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/socket.h>

namespace {

TEST(CompletionPort, KeepsNoMemoryOfAnEndpointThatWasClosed)
{
    constexpr std::size_t count = 1000;
    tpl::completion_port port(1);
    const auto bind_and_close = [&port] {
        const auto handle = tpl::open_endpoint(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        EXPECT_TRUE(port.attach(handle, nullptr));
        tpl::close_endpoint(handle);
    };
    bind_and_close();
    const auto before = ::mallinfo2().uordblks;
    for (std::size_t opened = 0; opened < count; ++opened) {
        bind_and_close();
    }
    EXPECT_LT(::mallinfo2().uordblks, before + count * sizeof(tpl::endpoint));
}

} // namespace
