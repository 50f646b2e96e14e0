// The sources of the rows on Windows, against the system itself.

#include "doctor/manager_windows.h"
#include "doctor/port_owner_windows.h"
#include "doctor/program_files_windows.h"
#include "doctor/registry_view_windows.h"
#include "tests/client/model/stand_in_registry.h"
#include "tests/doctor/doctor_run.h"
#include "tests/doctor/findings.h"
#include "tests/support/loopback_socket.h"
#include "tool/system/conversions.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <string_view>

namespace machine_windows_test {

using namespace doctor;
using host::test::set_number;
using host::test::set_text;
using host::test::set_value;
using testing::HasSubstr;

std::string own_program()
{
    std::wstring path(MAX_PATH, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), MAX_PATH));
    return winapi::conv_to_char(path, winapi::code_page_utf8);
}

TEST(system_registry, contains_what_was_written)
{
    const host::test::stand_in_registry machine(HKEY_LOCAL_MACHINE, L"doctor machine");
    const std::wstring key = L"Software\\A\\B";
    const std::wstring name = L"n\u00E4me";
    const std::uint8_t bytes[] = {1, 0, 2};
    set_text(HKEY_LOCAL_MACHINE, key, L"", L"default");
    set_text(HKEY_LOCAL_MACHINE, key, name, L"t\u20ACxt");
    set_number(HKEY_LOCAL_MACHINE, key, L"number", 3);
    set_value(HKEY_LOCAL_MACHINE, key, L"binary", REG_BINARY, std::data(bytes), sizeof bytes);
    set_value(HKEY_LOCAL_MACHINE, key, L"empty", REG_BINARY, std::data(bytes), 0);
    system_registry registry;
    const std::string path = "Software\\A\\B";
    EXPECT_TRUE(registry.has_key(hive::machine, path));
    EXPECT_FALSE(registry.has_key(hive::machine, "Software\\A\\C"));
    EXPECT_FALSE(registry.has_key(hive::user, path));
    EXPECT_EQ(registry.text(hive::machine, path, ""), "default");
    EXPECT_EQ(registry.text(hive::machine, path, "n\xC3\xA4me"), "t\xE2\x82\xACxt");
    EXPECT_EQ(registry.text(hive::machine, path, "number"), std::nullopt);
    EXPECT_EQ(registry.text(hive::machine, "Software\\A\\C", ""), std::nullopt);
    EXPECT_EQ(registry.number(hive::machine, path, "number"), 3U);
    EXPECT_EQ(registry.number(hive::machine, path, "binary"), std::nullopt);
    EXPECT_EQ(registry.number(hive::machine, "Software\\A\\C", "number"), std::nullopt);
    EXPECT_EQ(registry.subkeys(hive::machine, "Software\\A"), (std::vector<std::string>{"B"}));
    EXPECT_TRUE(registry.subkeys(hive::machine, path).empty());
    EXPECT_TRUE(registry.subkeys(hive::machine, "Software\\C").empty());
    const auto values = registry.values(hive::machine, path);
    EXPECT_EQ(values.size(), 5U);
    const auto of_name = [&](std::string_view wanted) {
        return std::find_if(values.begin(), values.end(), [&](const auto& one) { return one.name == wanted; })->bytes;
    };
    EXPECT_EQ(of_name("binary"), (std::vector<std::uint8_t>{1, 0, 2}));
    EXPECT_TRUE(of_name("empty").empty());
    EXPECT_TRUE(registry.values(hive::machine, "Software\\C").empty());
}

TEST(system_registry, has_keys_of_the_user)
{
    const host::test::stand_in_registry user(HKEY_CURRENT_USER, L"doctor user");
    set_number(HKEY_CURRENT_USER, L"Software\\A", L"number", 4);
    EXPECT_EQ(system_registry().number(hive::user, "Software\\A", "number"), 4U);
}

TEST(system_program_files, have_machine_and_version)
{
    system_program_files files;
    const program_file module = files.look(ADDIN_FILE);
    EXPECT_TRUE(module.exists);
    EXPECT_EQ(module.machine, machine_type::x64);
    EXPECT_EQ(module.version, ADDIN_VERSION ".0");
    const program_file here = files.look(own_program());
    EXPECT_TRUE(here.exists);
    EXPECT_EQ(here.machine, machine_type::x64);
    EXPECT_EQ(here.version, "");
    EXPECT_FALSE(files.look("C:\\missing.dll").exists);
    EXPECT_FALSE(files.look("C:\\").exists);
}

TEST(system_port_table, finds_this_process)
{
    const auto listening = test::loopback_socket::listen();
    const std::uint16_t port = listening.port();
    const port_owner found = system_port_table().owner_of({"127.0.0.1", port});
    // Wine lists the port, but does not find its owner everywhere.
    ASSERT_THAT(found.process, testing::AnyOf("0", std::to_string(GetCurrentProcessId())));
    if (found.process != "0") {
        EXPECT_TRUE(std::filesystem::equivalent(std::filesystem::path(winapi::conv_to_wide(found.program, 65001)),
                                                std::filesystem::path(winapi::conv_to_wide(own_program(), 65001))));
    }
    const std::uint16_t closed = test::loopback_socket::listen().port();
    EXPECT_THROW((void)system_port_table().owner_of({"127.0.0.1", closed}), std::runtime_error);
}

/// A service that is registered as long as the object lives, and never started.
class registered_service
{
public:
    registered_service(const std::wstring& name, DWORD start, const wchar_t* account)
        : manager_(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ALL_ACCESS))
        , service_(CreateServiceW(manager_, name.c_str(), nullptr, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS, start,
                                  SERVICE_ERROR_NORMAL, L"C:\\none.exe", nullptr, nullptr, nullptr, account, nullptr))
    {
        EXPECT_NE(service_, nullptr) << GetLastError();
    }
    registered_service(const registered_service&) = delete;
    registered_service& operator=(const registered_service&) = delete;
    ~registered_service()
    {
        DeleteService(service_);
        CloseServiceHandle(service_);
        CloseServiceHandle(manager_);
    }

private:
    SC_HANDLE manager_;
    SC_HANDLE service_;
};

TEST(system_service_manager, finds_a_service)
{
    const std::string name = "postwarden-test-" + std::to_string(GetCurrentProcessId());
    system_service_manager manager;
    EXPECT_FALSE(manager.find(name));
    {
        const registered_service registered(winapi::conv_to_wide(name), SERVICE_AUTO_START,
                                            L"NT AUTHORITY\\LocalService");
        const auto found = manager.find(name);
        ASSERT_TRUE(found);
        EXPECT_EQ(found->state, managed_service::activity::stopped);
        EXPECT_TRUE(found->automatic);
        EXPECT_EQ(found->account, "NT AUTHORITY\\LocalService");
    }
    const registered_service registered(winapi::conv_to_wide(name + "b"), SERVICE_DEMAND_START, nullptr);
    const auto found = manager.find(name + "b");
    ASSERT_TRUE(found);
    EXPECT_FALSE(found->automatic);
    EXPECT_EQ(found->account, "LocalSystem");
}

TEST(doctor_on_windows, reads_the_registry_of_the_machine)
{
    const host::test::stand_in_registry machine(HKEY_LOCAL_MACHINE, L"doctor machine");
    const host::test::stand_in_registry user(HKEY_CURRENT_USER, L"doctor user");
    constexpr const char* rows =
        "addin-machine,addin-user,addin-disabled,addin-policy,addin-module,client-bitness,hardened";
    const doctor_run before = run_rows(rows, {});
    EXPECT_EQ(before.status, 2);
    EXPECT_EQ(before.state("addin-machine"), "failed");
    EXPECT_EQ(before.state("addin-module"), "failed");
    EXPECT_EQ(before.state("hardened"), "warning");
    EXPECT_EQ(before.state("client-bitness"), "not_applicable");
    set_number(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office\\Outlook\\Addins\\QDMailProtect.Connect",
               L"LoadBehavior", 3);
    set_text(HKEY_LOCAL_MACHINE, L"Software\\Classes\\CLSID\\{73701B94-160C-49E1-91DF-B8CEAAD06DC1}\\InprocServer32",
             L"", winapi::conv_to_wide(ADDIN_FILE, winapi::code_page_utf8));
    set_number(HKEY_LOCAL_MACHINE, L"Software\\MorvelaneLab\\TRAL\\11.0\\Environment", L"HardenedScanning", 1);
    set_text(HKEY_LOCAL_MACHINE, L"Software\\Microsoft\\Office\\16.0\\Outlook", L"Bitness", L"x64");
    set_text(HKEY_CURRENT_USER, L"Software\\Policies\\Microsoft\\Office\\16.0\\Outlook\\Resiliency\\AddinList",
             L"QDMailProtect.Connect", L"1");
    const doctor_run after = run_rows(rows, {});
    EXPECT_EQ(after.status, 1) << after.out; // the version that these tests specify is another one
    EXPECT_THAT(after.found("addin-module"), HasSubstr("this program has version 1.2.3"));
    for (const char* const name :
         {"addin-machine", "addin-user", "addin-disabled", "addin-policy", "client-bitness", "hardened"}) {
        EXPECT_EQ(after.state(name), "ok") << name;
    }
    const std::wstring disabled = L"x\u0001p\\postwarden.dll";
    set_value(HKEY_CURRENT_USER, L"Software\\Microsoft\\Office\\16.0\\Outlook\\Resiliency\\DisabledItems", L"A1",
              REG_BINARY, disabled.data(), disabled.size() * sizeof(wchar_t));
    EXPECT_EQ(run_rows("addin-disabled", {}).status, 2);
}

TEST(doctor_on_windows, asks_the_service_manager)
{
    const doctor_run done = run_rows("service", {"--service", "postwarden-test-none"});
    EXPECT_EQ(done.status, 1);
    EXPECT_EQ(done.found("service"), "no service postwarden-test-none is registered");
}

} // namespace machine_windows_test
