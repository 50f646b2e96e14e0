#include "client/mailhost/machine_values.h"
#include "client/model/registry_key.h"
#include "tests/client/model/stand_in_registry.h"

#include <gtest/gtest.h>

namespace host::test {
namespace {

class MachineValues : public testing::Test
{
protected:
    static std::optional<std::uint32_t> number(const std::wstring& key)
    {
        return registry_key::open(HKEY_LOCAL_MACHINE, key).number(L"Value");
    }
    static bool has_key(const std::wstring& key)
    {
        return static_cast<bool>(registry_key::open(HKEY_LOCAL_MACHINE, key));
    }

    stand_in_registry machine{HKEY_LOCAL_MACHINE, L"machine values"};
};

TEST_F(MachineValues, AreThereForAWhileAndGoWithTheirKeys)
{
    {
        machine_values values;
        values.set({L"SOFTWARE\\Some\\Where", L"Value", std::uint32_t{7}});
        values.set({L"SOFTWARE\\Some\\Where", L"Text", std::wstring(L"with blanks")});
        EXPECT_EQ(7U, number(L"SOFTWARE\\Some\\Where"));
        EXPECT_EQ(L"with blanks", registry_key::open(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Some\\Where").text(L"Text"));
    }
    EXPECT_FALSE(has_key(L"SOFTWARE\\Some\\Where"));
    EXPECT_FALSE(has_key(L"SOFTWARE\\Some"));
    EXPECT_FALSE(has_key(L"SOFTWARE"));
}

TEST_F(MachineValues, PutBackWhatStoodThere)
{
    set_number(HKEY_LOCAL_MACHINE, L"Here", L"Value", 1);
    set_text(HKEY_LOCAL_MACHINE, L"Here", L"Other", L"stays");
    {
        machine_values values;
        values.set({L"Here", L"Value", std::uint32_t{2}});
        values.set({L"Here", L"Value", std::uint32_t{3}});
        values.set({L"Here", L"Other", std::uint32_t{4}});
        EXPECT_EQ(3U, number(L"Here"));
    }
    EXPECT_EQ(1U, number(L"Here"));
    EXPECT_EQ(L"stays", registry_key::open(HKEY_LOCAL_MACHINE, L"Here").text(L"Other"));
}

TEST_F(MachineValues, LeaveKeysThatOthersUseMeanwhile)
{
    {
        machine_values values;
        values.set({L"Mine\\Below", L"Value", std::uint32_t{7}});
        set_number(HKEY_LOCAL_MACHINE, L"Mine", L"Theirs", 1);
    }
    EXPECT_FALSE(has_key(L"Mine\\Below"));
    EXPECT_TRUE(has_key(L"Mine"));
}

} // namespace
} // namespace host::test
