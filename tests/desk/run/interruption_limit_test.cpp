// In builds without a sanitizer only: one that checks the type of an object needs a descriptor for it.

#include "desk/run/interruption.h"
#include "tests/desk/run/interruption_fixture.h"
#include "tests/support/resource_limit_posix.h"

#include <system_error>

namespace host::test {
namespace {

using InterruptionWithoutDescriptors = interruption_fixture;

TEST_F(InterruptionWithoutDescriptors, LeavesTheProcessAsItWas)
{
    for (const int further : {0, 1}) {
        {
            const ::test::descriptor_limit limit(further);
            EXPECT_THROW(interruption{where}, std::system_error);
        }
        EXPECT_EQ(descriptors_before, descriptors());
        EXPECT_EQ(blocked_before, blocked());
    }
}

} // namespace
} // namespace host::test
