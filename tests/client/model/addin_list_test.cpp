#include "client/model/addin.h"
#include "client/model/addin_list.h"
#include "client/model/class_object.h"
#include "tests/client/model/stand_in_registry.h"

#include <gmock/gmock.h>

namespace host::test {
namespace {

constexpr const wchar_t* addins = L"Software\\Microsoft\\Office\\Outlook\\Addins\\";

class AddinList : public testing::Test
{
protected:
    static void list(HKEY root, const std::wstring& name, DWORD load_behavior)
    {
        set_number(root, addins + name, L"LoadBehavior", load_behavior);
    }

    stand_in_registry machine{HKEY_LOCAL_MACHINE, L"machine"};
    stand_in_registry user{HKEY_CURRENT_USER, L"user"};
};

TEST_F(AddinList, IsEmptyWithoutAnyKey)
{
    EXPECT_TRUE(list_addins().empty());
}

TEST_F(AddinList, HoldsTheMachinesAndTheUsersByName)
{
    list(HKEY_LOCAL_MACHINE, L"Beta.Connect", 3);
    set_text(HKEY_LOCAL_MACHINE, std::wstring(addins) + L"Beta.Connect", L"FriendlyName", L"The second");
    list(HKEY_CURRENT_USER, L"Alpha.Connect", 2);
    const auto found = list_addins();
    ASSERT_EQ(2U, found.size());
    EXPECT_EQ(L"Alpha.Connect", found[0].prog_id);
    EXPECT_EQ(L"Alpha.Connect", found[0].friendly_name);
    EXPECT_TRUE(found[0].of_user);
    EXPECT_FALSE(found[0].loaded_at_start());
    EXPECT_EQ(L"Beta.Connect", found[1].prog_id);
    EXPECT_EQ(L"The second", found[1].friendly_name);
    EXPECT_FALSE(found[1].of_user);
    EXPECT_TRUE(found[1].loaded_at_start());
}

TEST_F(AddinList, LetsTheUsersEntryStandBeforeTheMachines)
{
    list(HKEY_LOCAL_MACHINE, L"Beta.Connect", 3);
    list(HKEY_CURRENT_USER, L"BETA.connect", 2);
    const auto found = list_addins();
    ASSERT_EQ(1U, found.size());
    EXPECT_TRUE(found[0].of_user);
    EXPECT_FALSE(found[0].loaded_at_start());
}

TEST_F(AddinList, LoadsAtStartOnlyWhatIsToBeConnectedThen)
{
    for (const DWORD behavior : {0U, 1U, 2U, 8U, 9U}) {
        list(HKEY_LOCAL_MACHINE, L"Beta.Connect", behavior);
        EXPECT_FALSE(list_addins().at(0).loaded_at_start()) << behavior;
    }
    for (const DWORD behavior : {3U, 16U + 3U}) {
        list(HKEY_LOCAL_MACHINE, L"Beta.Connect", behavior);
        EXPECT_TRUE(list_addins().at(0).loaded_at_start()) << behavior;
    }
}

TEST_F(AddinList, NamesWhatCannotBeCreated)
{
    try {
        create_addin(L"Nobody.Connect");
        FAIL() << "nobody has registered that";
    } catch (const addin_failure& failure) {
        EXPECT_THAT(failure.what(), testing::HasSubstr("Nobody.Connect cannot be created (0x"));
        EXPECT_TRUE(FAILED(failure.result()));
    }
}

TEST_F(AddinList, FindsTheClassOfTheUser)
{
    const std::wstring id = L"{7C0AA1E0-0B6E-4F9B-9C55-4A1F2E3D4C5B}";
    set_text(HKEY_CURRENT_USER, L"Software\\Classes\\Of.User\\CLSID", {}, id);
    set_text(HKEY_CURRENT_USER, L"Software\\Classes\\CLSID\\" + id + L"\\InprocServer32", {}, L"C:\\nowhere\\no.dll");
    try {
        create_addin(L"Of.User");
        FAIL() << "there is no such module";
    } catch (const addin_failure& failure) {
        EXPECT_EQ(HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND), failure.result());
    }
}

} // namespace
} // namespace host::test
