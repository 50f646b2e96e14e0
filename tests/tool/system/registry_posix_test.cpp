#include "tool/system/registry.h"

#include <gtest/gtest.h>

namespace {

TEST(local_machine, is_the_stand_in_registry_on_a_system_without_one)
{
    const std::wstring_view key = winapi::registry_names::environment_key;
    EXPECT_EQ(&winapi::local_machine(), &winapi::stand_in_registry());
    winapi::stand_in_registry().set_number(key, winapi::registry_names::keep_verdict_in_email, 1);
    EXPECT_EQ(winapi::local_machine().number_value(key, L"KeepVerdictInEmail"), 1U);
    winapi::stand_in_registry().clear();
    EXPECT_FALSE(winapi::local_machine().has_key(key));
}

} // namespace
