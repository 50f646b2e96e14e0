#include "broker/access_rules.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace broker {
namespace {

constexpr const wchar_t* administrators = L"S-1-5-32-544";
constexpr const wchar_t* system_account = L"S-1-5-18";
constexpr const wchar_t* installer = L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464";
constexpr const wchar_t* users = L"S-1-5-32-545";
constexpr const wchar_t* everybody = L"S-1-1-0";
constexpr const wchar_t* somebody = L"S-1-5-21-1-2-3-1001";

constexpr std::uint32_t full = 0x1F01FF;
constexpr std::uint32_t read_and_execute = 0x1200A9;

access_entry allows(const wchar_t* account, std::uint32_t rights)
{
    return {access_entry::kind::allows, false, rights, account};
}

/// Returns the rules' decision on an object of the administrators with these entries beside theirs.
std::wstring refusal(std::vector<access_entry> entries, const access_rules& rules = access_rules())
{
    entries.insert(entries.begin(), {allows(system_account, full), allows(administrators, full)});
    return rules.why_refused({administrators, std::move(entries), false}).value_or(L"");
}

TEST(AccessRules, AcceptWhatOnlyAdministratorsCanChange)
{
    EXPECT_EQ(refusal({allows(users, read_and_execute), allows(installer, full)}), L"");
    EXPECT_EQ(refusal({}), L"");
    EXPECT_FALSE(access_rules().why_refused({system_account, std::vector<access_entry>{}, false}));
    EXPECT_FALSE(access_rules().why_refused({installer, std::vector{allows(users, read_and_execute)}, false}));
}

TEST(AccessRules, RefuseEveryRightToChangeForAnybodyElse)
{
    for (const std::uint32_t right :
         {0x2U, 0x4U, 0x10U, 0x40U, 0x100U, 0x10000U, 0x40000U, 0x80000U, 0x2000000U, 0x10000000U, 0x40000000U}) {
        EXPECT_EQ(refusal({allows(users, read_and_execute | right)}), std::wstring(users) + L" may change it") << right;
        EXPECT_EQ(refusal({allows(everybody, right)}), std::wstring(everybody) + L" may change it") << right;
    }
}

TEST(AccessRules, AcceptEveryRightThatChangesNothing)
{
    // read data, read extended attributes, execute, read attributes, read control, synchronize, generic read and
    // execute
    EXPECT_EQ(refusal({allows(users, 0x1 | 0x8 | 0x20 | 0x80 | 0x20000 | 0x100000 | 0x80000000U | 0x20000000)}), L"");
}

TEST(AccessRules, PassOverEntriesThatAreForNewObjectsOnly)
{
    access_entry entry = allows(L"S-1-3-0", full); // the creator of a new object, as folders of the system have it
    entry.for_children_only = true;
    EXPECT_EQ(refusal({entry}), L"");
    entry.for_children_only = false;
    EXPECT_EQ(refusal({entry}), L"S-1-3-0 may change it");
}

TEST(AccessRules, CountOnNoEntryThatDenies)
{
    const access_entry denial{access_entry::kind::denies, false, full, users};
    EXPECT_EQ(refusal({denial}), L"");
    EXPECT_EQ(refusal({denial, allows(users, 0x2)}), std::wstring(users) + L" may change it");
}

TEST(AccessRules, RefuseEntriesThatTheyDoNotKnow)
{
    EXPECT_NE(refusal({{access_entry::kind::unknown, false, 0, {}}}), L"");
}

TEST(AccessRules, RefuseAnotherOwner)
{
    const auto why = access_rules().why_refused({somebody, std::vector{allows(administrators, full)}, false});
    EXPECT_EQ(why, std::wstring(L"its owner is ") + somebody + L", not the administrators");
    EXPECT_TRUE(access_rules().why_refused({{}, std::vector<access_entry>{}, false}));
}

TEST(AccessRules, RefuseAnObjectWithoutAList)
{
    EXPECT_TRUE(access_rules().why_refused({administrators, {}, false}));
}

TEST(AccessRules, RefuseALink)
{
    EXPECT_EQ(access_rules().why_refused({administrators, std::vector<access_entry>{}, true}), L"it is a link");
}

TEST(AccessRules, TrustTheAccountsThatTheyAreGiven)
{
    const access_rules rules({somebody});
    EXPECT_EQ(refusal({allows(somebody, full)}, rules), L"");
    EXPECT_FALSE(rules.why_refused({somebody, std::vector{allows(somebody, full)}, false}));
    EXPECT_EQ(refusal({allows(users, full)}, rules), std::wstring(users) + L" may change it");
}

TEST(AccessRules, ReadListsOfAccounts)
{
    EXPECT_EQ(accounts_in(L""), std::vector<std::wstring>{});
    EXPECT_EQ(accounts_in(L" ; "), std::vector<std::wstring>{});
    EXPECT_EQ(accounts_in(L"S-1-2"), std::vector<std::wstring>{L"S-1-2"});
    EXPECT_EQ(accounts_in(L" S-1-2; S-1-3,S-1-4 S-1-5\t"),
              (std::vector<std::wstring>{L"S-1-2", L"S-1-3", L"S-1-4", L"S-1-5"}));
}

} // namespace
} // namespace broker
