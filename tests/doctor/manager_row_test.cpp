#include "doctor/manager_row.h"
#include "doctor/unit_rows.h"
#include "tests/doctor/findings.h"

#include <stdexcept>

namespace manager_row_test {

using namespace doctor;
using activity = managed_service::activity;

struct manager final : service_manager
{
    std::optional<managed_service> service;
    bool denies = false;

    std::optional<managed_service> find(const std::string& name) override
    {
        if (denies) {
            throw std::runtime_error("access to " + name + " is denied");
        }
        return service;
    }
};

class manager_rows : public testing::Test
{
protected:
    finding found() { return manager_row(known, "scanner"); }
    manager known;
};

TEST_F(manager_rows, contain_state_and_account)
{
    known.service = managed_service{activity::running, true, "NT AUTHORITY\\LocalService"};
    EXPECT_THAT(found(), is_finding(row_state::ok, "scanner is running, account NT AUTHORITY\\LocalService", ""));
}

TEST_F(manager_rows, warn_of_an_account_that_may_do_everything)
{
    for (const char* const account : {"LocalSystem", "", "NT AUTHORITY\\SYSTEM"}) {
        known.service = managed_service{activity::running, true, account};
        EXPECT_THAT(found(), is_finding(row_state::warning, "running", "LocalService")) << account;
    }
}

TEST_F(manager_rows, warn_of_a_service_that_does_not_start_with_the_machine)
{
    known.service = managed_service{activity::running, false, "NT AUTHORITY\\LocalService"};
    EXPECT_THAT(found(), is_finding(row_state::warning, "not started with the machine", "start= auto"));
}

TEST_F(manager_rows, fail_unless_the_service_runs)
{
    const std::vector<std::pair<activity, std::string>> states{
        {activity::stopped, "stopped"}, {activity::paused, "paused"}, {activity::changing, "starting or stopping"}};
    for (const auto& [state, words] : states) {
        known.service = managed_service{state, true, "NT AUTHORITY\\LocalService"};
        EXPECT_THAT(found(), is_finding(row_state::failed, words, "sc start scanner"));
    }
    known.denies = true;
    EXPECT_THAT(found(), is_finding(row_state::failed, "denied", "administrator"));
}

TEST_F(manager_rows, warn_of_a_missing_service)
{
    EXPECT_THAT(found(), is_finding(row_state::warning, "no service scanner", "installer"));
}

struct units final : unit_manager
{
    std::optional<std::string> state;
    bool installed = true;
    bool fails = false;

    std::optional<std::string> state_of(const std::string& /*unit*/) override
    {
        if (fails) {
            throw std::runtime_error("systemctl does not end");
        }
        return state;
    }
    bool is_installed(const std::string& /*unit*/) override { return installed; }
};

TEST(unit_rows, contain_the_state_of_the_unit)
{
    units known;
    EXPECT_THAT(unit_row(known, "a.service"), is_finding(row_state::not_applicable, "systemd does not run", ""));
    known.state = "active";
    EXPECT_THAT(unit_row(known, "a.service"), is_finding(row_state::ok, "a.service is active", ""));
    for (const char* const state : {"failed", "inactive", "activating"}) {
        known.state = state;
        EXPECT_THAT(unit_row(known, "a.service"), is_finding(row_state::failed, state, "systemctl restart a.service"));
    }
    known.installed = false;
    EXPECT_THAT(unit_row(known, "a.service"), is_finding(row_state::not_applicable, "no unit a.service", ""));
    known.fails = true;
    EXPECT_THAT(unit_row(known, "a.service"), is_finding(row_state::failed, "does not end", "systemctl status"));
}

TEST(unit_rows, contain_the_problems_of_the_configuration)
{
    EXPECT_THAT(configuration_row({"/etc/a", false, 0, ""}),
                is_finding(row_state::not_applicable, "no file /etc/a", ""));
    EXPECT_THAT(configuration_row({"/etc/a", true, 0, "valid\n"}), is_finding(row_state::ok, "/etc/a is valid", ""));
    EXPECT_THAT(configuration_row({"/etc/a", true, 2, "one\ntwo\n"}),
                is_finding(row_state::failed, "/etc/a: one;two", "Correct the file"));
}

} // namespace manager_row_test
