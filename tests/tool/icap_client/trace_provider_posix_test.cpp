#include "tool/icap_client/trace_provider.h"

#include <gtest/gtest.h>

namespace {

TEST(SystemTrace, IsNeverEnabledWithoutEventTracing)
{
    EXPECT_FALSE(icap::client::system_trace_provider().enabled());
}

} // namespace
