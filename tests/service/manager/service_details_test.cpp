// What an installation asks of the system's service manager.

#include "service/manager/service_database.h"
#include "service/manager/service_entry.h"

#include <windows.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <memory>
#include <shellapi.h>
#include <string>
#include <vector>

namespace service_details_test {

using testing::ElementsAre;
using testing::HasSubstr;

/// Keeps what it is asked to store.
class recorded_details
{
public:
    BOOL change(DWORD level, void* information)
    {
        if (refusals.count(level) != 0) {
            ::SetLastError(refusals.at(level));
            return FALSE;
        }
        levels.push_back(level);
        switch (level) {
        case SERVICE_CONFIG_DESCRIPTION:
            description = static_cast<SERVICE_DESCRIPTIONW*>(information)->lpDescription;
            break;
        case SERVICE_CONFIG_FAILURE_ACTIONS:
            take(*static_cast<SERVICE_FAILURE_ACTIONSW*>(information));
            break;
        case SERVICE_CONFIG_FAILURE_ACTIONS_FLAG:
            on_errors = static_cast<SERVICE_FAILURE_ACTIONS_FLAG*>(information)->fFailureActionsOnNonCrashFailures;
            break;
        case SERVICE_CONFIG_SERVICE_SID_INFO:
            identity = static_cast<SERVICE_SID_INFO*>(information)->dwServiceSidType;
            break;
        case SERVICE_CONFIG_REQUIRED_PRIVILEGES_INFO:
            for (const wchar_t* one =
                     static_cast<SERVICE_REQUIRED_PRIVILEGES_INFOW*>(information)->pmszRequiredPrivileges;
                 *one != L'\0'; one += privileges.back().size() + 1) {
                privileges.emplace_back(one);
            }
            break;
        default:
            ADD_FAILURE() << level;
        }
        return TRUE;
    }

    std::map<DWORD, DWORD> refusals; ///< Win32 codes by level
    std::vector<DWORD> levels;
    std::wstring description;
    std::vector<std::pair<int, std::uint32_t>> actions;
    DWORD reset = 0;
    BOOL on_errors = FALSE;
    DWORD identity = 0;
    std::vector<std::wstring> privileges;

private:
    void take(const SERVICE_FAILURE_ACTIONSW& failures)
    {
        reset = failures.dwResetPeriod;
        EXPECT_EQ(failures.lpCommand, nullptr);
        EXPECT_EQ(failures.lpRebootMsg, nullptr);
        for (DWORD i = 0; i < failures.cActions; ++i) {
            actions.emplace_back(failures.lpsaActions[i].Type, failures.lpsaActions[i].Delay);
        }
    }
};

class service_details : public testing::Test
{
protected:
    std::vector<std::string> store()
    {
        return manager::store_details(nullptr, manager::service_entry(),
                                      [this](SC_HANDLE, DWORD level, void* what) { return asked.change(level, what); });
    }

    recorded_details asked;
};

TEST_F(service_details, restart_the_service_after_a_failure_which_the_manager_of_wine_does_not_do)
{
    EXPECT_THAT(store(), ElementsAre());
    EXPECT_THAT(asked.actions, ElementsAre(std::pair{SC_ACTION_RESTART, 1000U}, std::pair{SC_ACTION_RESTART, 5000U},
                                           std::pair{SC_ACTION_RESTART, 30000U}));
    EXPECT_EQ(asked.reset, 24U * 60 * 60);
    EXPECT_EQ(asked.on_errors, TRUE);
}

TEST_F(service_details, leave_one_privilege_and_give_an_own_identity)
{
    EXPECT_THAT(store(), ElementsAre());
    EXPECT_THAT(asked.privileges, ElementsAre(L"SeChangeNotifyPrivilege"));
    EXPECT_EQ(asked.identity, static_cast<DWORD>(SERVICE_SID_TYPE_UNRESTRICTED));
    EXPECT_NE(asked.description.find(L"postwarden"), std::wstring::npos);
    EXPECT_EQ(asked.levels.size(), 5U);
}

TEST_F(service_details, that_a_system_does_not_know_are_named)
{
    asked.refusals = {{SERVICE_CONFIG_FAILURE_ACTIONS_FLAG, ERROR_INVALID_LEVEL},
                      {SERVICE_CONFIG_SERVICE_SID_INFO, ERROR_INVALID_LEVEL}};
    EXPECT_THAT(store(), ElementsAre("restarts after an end with an error", "own identity"));
    EXPECT_EQ(asked.levels.size(), 3U);
}

TEST_F(service_details, that_the_system_refuses_end_the_installation)
{
    asked.refusals = {{SERVICE_CONFIG_REQUIRED_PRIVILEGES_INFO, ERROR_ACCESS_DENIED}};
    try {
        (void)store();
        FAIL() << "no exception";
    } catch (const manager::manager_error& problem) {
        EXPECT_THAT(problem.what(), HasSubstr("the required privileges of the service: "));
    }
}

TEST(service_entry, has_the_account_with_few_rights)
{
    EXPECT_EQ(manager::service_entry().account, L"NT AUTHORITY\\LocalService");
}

TEST(service_entry, has_a_command_line_from_which_the_program_gets_its_arguments)
{
    const std::vector<std::wstring> arguments{
        L"--port",      L"1345",    L"C:\\a b\\",    L"",          L"say \"x\"",
        L"back\\slash", L"end\\\\", L"\\\"both\\\"", L"tab\there", L"-x=\\\\host\\a b\\\\"};
    const std::wstring line = manager::command_line_of(L"C:\\Program Files\\p\\p.exe", arguments);
    EXPECT_TRUE(line.starts_with(L"\"C:\\Program Files\\p\\p.exe\" --port 1345 \"C:\\a b\\\\\" \"\" "));
    int count = 0;
    const std::unique_ptr<wchar_t*, decltype(&::LocalFree)> read(::CommandLineToArgvW(line.c_str(), &count),
                                                                 ::LocalFree);
    ASSERT_EQ(count, static_cast<int>(arguments.size()) + 1);
    EXPECT_EQ(std::wstring(read.get()[0]), L"C:\\Program Files\\p\\p.exe");
    for (int i = 1; i < count; ++i) {
        EXPECT_EQ(std::wstring(read.get()[i]), arguments[static_cast<std::size_t>(i) - 1]);
    }
}

} // namespace service_details_test
