#include "service/presence/hold_presence.h"
#include "tool/presence/namespace_functions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

// The result depends on the system and the account: the functions may be missing, and only the local system account
// may create the namespace.
TEST(HoldPresence, EitherHoldsOrSaysWhyNot)
{
    std::string refusal;
    try {
        const auto held = presence::hold_presence();
        EXPECT_NE(held, nullptr);
    } catch (const std::runtime_error& failure) {
        refusal = failure.what();
    }
    if (presence::system_namespace_functions().CreatePrivateNamespaceW) {
        EXPECT_THAT(refusal, testing::AnyOf("", testing::HasSubstr("cannot be made: error code ")));
    } else {
        EXPECT_EQ(refusal, "the presence cannot be shown: this system has no private namespaces");
    }
}

TEST(NamespaceFunctions, OpenAndMakeMutexesByName)
{
    const auto functions = presence::system_namespace_functions();
    const wchar_t* const name = L"Local\\8B7D0C56A8D94E8A9C3E1C4A0F6D2B17";
    const wchar_t* const security = L"D:(A;;GA;;;WD)";
    EXPECT_EQ(functions.OpenMutexW(presence::synchronize_access, false, name), nullptr);
    EXPECT_EQ(functions.GetLastError(), 2U);
    const auto made = functions.CreateMutexW(security, name);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(functions.CreateMutexW(security, name), nullptr) << "it is somebody's already";
    const auto opened = functions.OpenMutexW(presence::synchronize_access, false, name);
    EXPECT_NE(opened, nullptr);
    functions.CloseHandle(opened);
    functions.CloseHandle(made);
    EXPECT_EQ(functions.OpenMutexW(presence::synchronize_access, false, name), nullptr);
    EXPECT_EQ(functions.CreateMutexW(L"no descriptor", name), nullptr);
}

} // namespace
