#include "outlook/qdmailprotect/link/presence_probe.h"
#include "tests/support/log_capture.h"
#include "tool/presence/namespace_functions.h"

#include <gtest/gtest.h>

namespace {

// The service's mutex cannot be held here: that requires the local system account.
TEST(SystemPresenceProbe, SaysNoAndWhyOnASystemWithoutTheFunctions)
{
    const test::log_capture log;
    const bool present = NewPresenceProbe()->IsServicePresent();
    const auto functions = presence::system_namespace_functions();
    if (!functions.AddSIDToBoundaryDescriptor || !functions.OpenPrivateNamespaceW) {
        EXPECT_FALSE(present);
        EXPECT_EQ(log.texts(),
                  (std::vector<std::string>{"Failed to initialize private namespace", "No private namespace"}));
    } else if (present) {
        EXPECT_TRUE(log.lines().empty());
    }
}

} // namespace
