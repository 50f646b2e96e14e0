#pragma once

#include <platform/handles.h>

#include <aclapi.h>
#include <array>
#include <filesystem>
#include <fstream>
#include <sddl.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace test {

/// Returns the account of this process as a text.
inline std::wstring own_account()
{
    winapi::kernel_handle token;
    std::array<BYTE, 256> user{};
    DWORD size = 0;
    wchar_t* text = nullptr;
    if (!::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, token.put()) ||
        !::GetTokenInformation(token.get(), TokenUser, user.data(), user.size(), &size) ||
        !::ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid, &text)) {
        throw std::runtime_error("the account of this process is not known");
    }
    std::wstring account(text);
    ::LocalFree(text);
    return account;
}

/// Gives a file or a folder the access control list of a text in the system's notation.
inline void set_list(const std::filesystem::path& object, const std::wstring& list)
{
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (!::ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1, &descriptor, nullptr) ||
        !::SetFileSecurityW(object.c_str(), DACL_SECURITY_INFORMATION, descriptor)) {
        throw std::runtime_error("the access control list cannot be set");
    }
    ::LocalFree(descriptor);
}

/// A folder of this process for a file "settings.json", removed at the end.
class settings_folder
{
public:
    explicit settings_folder(const std::wstring& name)
        : path(std::filesystem::temp_directory_path() / (name + std::to_wstring(::GetCurrentProcessId())))
        , file(path / L"settings.json")
    {
        std::filesystem::create_directories(path);
        protect(path);
    }
    settings_folder(const settings_folder&) = delete;
    settings_folder& operator=(const settings_folder&) = delete;
    ~settings_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    void write(const std::string& contents) const
    {
        std::ofstream(file, std::ios::binary).write(contents.data(), static_cast<std::streamsize>(contents.size()));
        protect(file);
    }
    /// Lets only this process's account change an object.
    static void protect(const std::filesystem::path& object)
    {
        set_list(object, L"D:P(A;;FA;;;" + own_account() + L")(A;;FR;;;WD)");
    }

    std::filesystem::path path;
    std::filesystem::path file;
};

} // namespace test
