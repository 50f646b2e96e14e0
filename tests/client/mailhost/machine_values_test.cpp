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

TEST_F(MachineValues, AreRecordedWhileTheyAreChangedAndNoLonger)
{
    {
        machine_values values;
        EXPECT_FALSE(has_key(std::wstring(change_journal::place)));
        values.set({L"Here", L"Value", std::uint32_t{2}});
        const auto owners = registry_key::open(HKEY_LOCAL_MACHINE, std::wstring(change_journal::place)).subkeys();
        ASSERT_EQ(1U, owners.size());
        const std::wstring key = std::wstring(change_journal::place) + L"\\" + owners[0] + L"\\0";
        EXPECT_EQ(L"Here", registry_key::open(HKEY_LOCAL_MACHINE, key).text(L"Key"));
    }
    EXPECT_FALSE(has_key(L"SOFTWARE"));
}

TEST_F(MachineValues, OfAProcessThatRunsAreLeftToIt)
{
    machine_values values;
    values.set({L"Here", L"Value", std::uint32_t{2}});
    change_journal::restore_abandoned();
    EXPECT_EQ(2U, number(L"Here"));
}

/// The record of a process, under the identity of one that cannot run.
class AbandonedRecord : public MachineValues
{
protected:
    static constexpr const wchar_t* owner = L"SOFTWARE\\postwarden\\mailhost\\4294967294-1-1";
    static void record(const wchar_t* change, const registry_change& of)
    {
        const std::wstring key = std::wstring(owner) + L"\\" + change;
        if (of.before) {
            write_value(key, L"Before", REG_BINARY, of.before->data(), of.before->size());
        }
        set_text(HKEY_LOCAL_MACHINE, key, L"Key", of.key);
        set_text(HKEY_LOCAL_MACHINE, key, L"Name", of.name);
        set_number(HKEY_LOCAL_MACHINE, key, L"KeysMade", static_cast<std::uint32_t>(of.keys_made));
        set_number(HKEY_LOCAL_MACHINE, key, L"Type", of.type);
    }
};

TEST_F(AbandonedRecord, IsRestoredFromItsEnd)
{
    set_number(HKEY_LOCAL_MACHINE, owner, L"KeysMade", 4);
    record(L"0", change_of(L"Made\\Here", L"Value"));
    set_number(HKEY_LOCAL_MACHINE, L"Made\\Here", L"Value", 1);
    record(L"1", change_of(L"Made\\Here", L"Value"));
    set_number(HKEY_LOCAL_MACHINE, L"Made\\Here", L"Value", 2);
    const machine_values next;
    EXPECT_FALSE(has_key(L"Made"));
    EXPECT_FALSE(has_key(L"SOFTWARE"));
}

TEST_F(AbandonedRecord, PutsTheFormerValueBack)
{
    set_number(HKEY_LOCAL_MACHINE, L"SOFTWARE", L"Value", 7);
    set_number(HKEY_LOCAL_MACHINE, owner, L"KeysMade", 3);
    record(L"0", change_of(L"SOFTWARE", L"Value"));
    set_number(HKEY_LOCAL_MACHINE, L"SOFTWARE", L"Value", 8);
    const machine_values next;
    EXPECT_EQ(7U, number(L"SOFTWARE"));
    EXPECT_FALSE(has_key(L"SOFTWARE\\postwarden"));
}

TEST_F(AbandonedRecord, ThatIsNotWholeChangesNothing)
{
    set_number(HKEY_LOCAL_MACHINE, L"Here", L"Value", 7);
    set_number(HKEY_LOCAL_MACHINE, owner, L"KeysMade", 4);
    set_text(HKEY_LOCAL_MACHINE, std::wstring(owner) + L"\\0", L"Key", L"Here");
    set_text(HKEY_LOCAL_MACHINE, std::wstring(owner) + L"\\0", L"Name", L"Value");
    const machine_values next;
    EXPECT_EQ(7U, number(L"Here"));
    EXPECT_FALSE(has_key(L"SOFTWARE"));
}

} // namespace
} // namespace host::test
