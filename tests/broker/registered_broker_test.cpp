// The module of the broker, registered for the machine as the installer does it, and called by COM. On a machine with
// another broker nothing is changed, and the tests fail.

#include "broker/machine_configuration.h"
#include "broker/registry_access.h"
#include "outlook/qdmailprotect/link/com_broker_windows.h"
#include "outlook/qdmailprotect/mapi/com_error.h"
#include "settings/settings_blob.h"
#include "tests/broker/files_of_test.h"

#include <platform/handles.h>

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

namespace broker {
namespace {

constexpr const wchar_t* program_key = L"Software\\Classes\\QD.SecurityLayerProvider";
constexpr const wchar_t* own_class = L"{7D4B6086-FE26-4880-AD58-984F6623D13C}";
constexpr const wchar_t* class_key = L"Software\\Classes\\CLSID\\{7D4B6086-FE26-4880-AD58-984F6623D13C}";
constexpr const wchar_t* source_key = L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\postwarden-broker";
constexpr const wchar_t* product_key = L"SOFTWARE\\MorvelaneLab\\postwarden";

bool key_exists(const wchar_t* path)
{
    winapi::registry_handle key;
    return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.put()) == ERROR_SUCCESS;
}

std::wstring value(const std::wstring& key, const wchar_t* name)
{
    std::array<wchar_t, 1024> text{};
    DWORD size = sizeof(text);
    const LONG code = ::RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name,
                                     RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND, nullptr, text.data(), &size);
    return code == ERROR_SUCCESS ? text.data() : L"";
}

void set_value(const wchar_t* name, const std::wstring& text)
{
    ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, configuration_key, name, REG_SZ, text.c_str(),
                                static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
}

/// The module, loaded during the lifetime of the object; what it registers is removed at the end.
class RegisteredBroker : public ::testing::Test
{
protected:
    RegisteredBroker()
    {
        const std::wstring found = value(std::wstring(program_key) + L"\\CLSID", nullptr);
        if (!found.empty() && found != own_class) {
            throw std::runtime_error("this machine has a broker that is not the tests'");
        }
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, product_key);
    }
    ~RegisteredBroker() override
    {
        EXPECT_EQ(call("DllUnregisterServer"), S_OK);
        ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, product_key);
        EXPECT_EQ(remove_if_empty(HKEY_LOCAL_MACHINE, L"SOFTWARE\\MorvelaneLab"), ERROR_SUCCESS);
    }
    [[nodiscard]] HRESULT call(const char* name) const
    {
        const auto function =
            reinterpret_cast<HRESULT(WINAPI*)()>(reinterpret_cast<void*>(::GetProcAddress(module.get(), name)));
        return function ? function() : E_NOTIMPL;
    }

    const winapi::module_handle module{::LoadLibraryW(BROKER_MODULE)};
};

std::wstring full_path(const wchar_t* path)
{
    return std::filesystem::absolute(path).make_preferred().wstring();
}

TEST_F(RegisteredBroker, IsAClassOfTheMachineForBothKindsOfApartments)
{
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(value(std::wstring(program_key) + L"\\CLSID", nullptr), own_class);
    const std::wstring server = std::wstring(class_key) + L"\\InprocServer32";
    EXPECT_EQ(value(server, nullptr), full_path(BROKER_MODULE));
    EXPECT_EQ(value(server, L"ThreadingModel"), L"Both");
    EXPECT_EQ(value(source_key, L"EventMessageFile"), full_path(BROKER_MODULE));
    EXPECT_EQ(value(configuration_key, L"SettingsFile"), L"C:\\ProgramData\\postwarden\\settings.json");
}

TEST_F(RegisteredBroker, LeavesNothingWhenItsRegistrationIsRemoved)
{
    const bool maker = key_exists(L"SOFTWARE\\MorvelaneLab");
    for (int time = 0; time < 2; ++time) { // the second time there is nothing to remove
        if (time == 0) {
            ASSERT_EQ(call("DllRegisterServer"), S_OK);
        }
        ASSERT_EQ(call("DllUnregisterServer"), S_OK);
        EXPECT_FALSE(key_exists(program_key));
        EXPECT_FALSE(key_exists(class_key));
        EXPECT_FALSE(key_exists(source_key));
        EXPECT_FALSE(key_exists(product_key));
        EXPECT_LE(key_exists(L"SOFTWARE\\MorvelaneLab"), maker);
    }
}

TEST_F(RegisteredBroker, KeepsAFileThatWasSpecifiedOtherwise)
{
    set_value(L"SettingsFile", L"D:\\elsewhere\\settings.json");
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(value(configuration_key, L"SettingsFile"), L"D:\\elsewhere\\settings.json");
    ASSERT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(value(configuration_key, L"SettingsFile"), L"D:\\elsewhere\\settings.json");
}

TEST_F(RegisteredBroker, LeavesTheNameOfItsClassToAnotherBroker)
{
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    const wchar_t other[] = L"{5F0B6E6C-3C0E-4C0B-9A53-2E4B7B8D61A7}";
    const std::wstring key = std::wstring(program_key) + L"\\CLSID";
    ASSERT_EQ(::RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), nullptr, REG_SZ, other, sizeof(other)), ERROR_SUCCESS);
    ASSERT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(value(key, nullptr), other);
    EXPECT_FALSE(key_exists(class_key));
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, program_key);
}

/// What a thread of an apartment receives from the broker: a port, or the code of the failure.
struct answer
{
    int port = 0;
    HRESULT failure = S_OK;
    bool operator==(const answer&) const = default;
};

answer ask(DWORD apartment)
{
    answer received;
    std::thread([&received, apartment] {
        const HRESULT entered = ::CoInitializeEx(nullptr, apartment);
        try {
            ComBroker broker;
            const auto visit = broker.Begin();
            visit->Connect();
            received.port = DOVA::Settings::SettingsFromBlob(visit->Load()).ServerPort.Effective();
        } catch (const ComError& failure) {
            received.failure = failure.Error();
        }
        if (SUCCEEDED(entered)) {
            ::CoUninitialize();
        }
    }).join();
    return received;
}

void expect_in_each_apartment(const answer& expected, const char* when)
{
    for (const DWORD apartment : {COINIT_MULTITHREADED, COINIT_APARTMENTTHREADED}) {
        const answer received = ask(apartment);
        EXPECT_EQ(received.port, expected.port) << when << ", apartment " << apartment;
        EXPECT_EQ(received.failure, expected.failure) << when << ", apartment " << apartment;
    }
}

std::string settings_with(int port)
{
    return R"({"ServerPort": {"value": )" + std::to_string(port) + R"(, "isSet": true}})";
}

/// The settings that were read last outlive every object and every apartment, so this is one test.
TEST_F(RegisteredBroker, AnswersByTheFileOfTheMachineFromEachApartment)
{
    const test::settings_folder folder(L"postwarden registered broker ");
    ASSERT_EQ(call("DllRegisterServer"), S_OK);
    const HRESULT no_settings = HRESULT_FROM_WIN32(ERROR_INVALID_DATA);

    set_value(L"SettingsFile", folder.file.wstring());
    set_value(L"TrustedAccounts", test::own_account());
    expect_in_each_apartment({0, no_settings}, "without a file");
    folder.write("{");
    expect_in_each_apartment({0, no_settings}, "broken from the beginning");
    folder.write(settings_with(1400));
    expect_in_each_apartment({1400, S_OK}, "good");
    folder.write(settings_with(1500));
    expect_in_each_apartment({1500, S_OK}, "changed");
    folder.write("{");
    expect_in_each_apartment({1500, S_OK}, "broken");
    folder.write(settings_with(1600));
    expect_in_each_apartment({1600, S_OK}, "mended");
    folder.write(settings_with(1700));
    test::set_list(folder.file, L"D:P(A;;FA;;;WD)");
    expect_in_each_apartment({1600, S_OK}, "the file is writable by everybody");
    folder.write(settings_with(1800));
    expect_in_each_apartment({1800, S_OK}, "protected again");
    folder.write(settings_with(1900));
    set_value(L"TrustedAccounts", L"");
    expect_in_each_apartment({1800, S_OK}, "the owner is not trusted");
    EXPECT_EQ(call("DllCanUnloadNow"), S_OK) << "an object is left";
}

} // namespace
} // namespace broker
