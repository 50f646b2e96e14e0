#include "packaging/configure/configuration_files.h"

#include "broker/protected_file.h"
#include "tool/system/conversions.h"

#include <platform/handles.h>

#include <aclapi.h>
#include <array>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace packaging {

namespace {

/// Enables a privilege of this process; without it the access that follows fails.
void enable(const wchar_t* name)
{
    winapi::kernel_handle token;
    TOKEN_PRIVILEGES wanted{};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, token.put()) &&
        ::LookupPrivilegeValueW(nullptr, name, &wanted.Privileges[0].Luid)) {
        ::AdjustTokenPrivileges(token.get(), FALSE, &wanted, 0, nullptr, nullptr);
    }
}

std::filesystem::path refused(const std::filesystem::path& file)
{
    return std::filesystem::path(file) += L".refused";
}

std::filesystem::path copy_of(const std::filesystem::path& file)
{
    return std::filesystem::path(file) += L".default";
}

/// Returns false if `rules` refuse the file.
bool belongs_to_administrators(const std::filesystem::path& file, const broker::access_rules& rules)
{
    try {
        broker::check_protected_file(file.wstring(), rules);
        return true;
    } catch (const broker::unusable_file& failure) {
        return failure.what_is_wrong() != broker::unusable_file::fault::refused;
    }
}

bool is_link(const std::filesystem::path& path)
{
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

std::string narrow(const std::filesystem::path& path)
{
    return winapi::conv_to_char(path.wstring(), winapi::code_page_utf8);
}

[[noreturn]] void fail(const std::filesystem::path& file)
{
    const auto code = static_cast<int>(::GetLastError());
    throw std::system_error(code, std::system_category(), narrow(file));
}

/// Writes a file that does not exist.
void write(const std::filesystem::path& file, const std::string& text)
{
    winapi::file_handle created(
        ::CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!created) {
        fail(file);
    }
    DWORD written = 0;
    if (!::WriteFile(created.get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
        written != text.size()) {
        const winapi::last_error_keeper reason;
        created.reset();
        ::DeleteFileW(file.c_str());
        fail(file);
    }
}

/// Returns nothing for a file that cannot be read.
std::optional<std::string> contents_of(const std::filesystem::path& file)
{
    std::ifstream input(file, std::ios::binary);
    if (!input) {
        return {};
    }
    return std::string(std::istreambuf_iterator<char>(input), {});
}

} // namespace

void give_to_administrators(const std::filesystem::path& folder)
{
    if (is_link(folder)) {
        throw std::runtime_error("the folder of the configuration is a link, which has to be removed: " +
                                 narrow(folder));
    }
    enable(SE_TAKE_OWNERSHIP_NAME);
    enable(SE_RESTORE_NAME);
    std::array<BYTE, SECURITY_MAX_SID_SIZE> administrators{};
    DWORD size = administrators.size();
    const winapi::file_handle opened(::CreateFileW(folder.c_str(), WRITE_OWNER, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                   nullptr, OPEN_EXISTING,
                                                   FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (opened && ::CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, administrators.data(), &size)) {
        ::SetSecurityInfo(opened.get(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, administrators.data(), nullptr,
                          nullptr, nullptr);
    }
}

bool is_present(const std::filesystem::path& file, const broker::access_rules& rules)
{
    return ::GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES && belongs_to_administrators(file, rules);
}

std::optional<std::string> present_contents(const std::filesystem::path& file, const broker::access_rules& rules)
{
    return is_present(file, rules) ? contents_of(file) : std::nullopt;
}

bool write_unless_present(const std::filesystem::path& file, const std::string& text, const broker::access_rules& rules)
{
    if (is_present(file, rules)) {
        return false;
    }
    if (::GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES &&
        !::MoveFileExW(file.c_str(), refused(file).c_str(), MOVEFILE_REPLACE_EXISTING)) {
        fail(file);
    }
    // The copy is the first: without it the file would count as changed, and a later installation would keep it.
    ::DeleteFileW(copy_of(file).c_str()); // never written through: it may be a link
    write(copy_of(file), text);
    write(file, text);
    return true;
}

void remove_unless_changed(const std::filesystem::path& file) noexcept
{
    try {
        const auto installed = contents_of(copy_of(file));
        if (installed && installed == contents_of(file)) {
            ::DeleteFileW(file.c_str());
        }
        ::DeleteFileW(copy_of(file).c_str());
        ::DeleteFileW(refused(file).c_str());
    } catch (const std::exception&) {
        return; // what remains does no harm
    }
}

void remove_logs(const std::filesystem::path& folder) noexcept
{
    try {
        if (!is_link(folder)) {
            std::error_code ignored;
            for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
                ::DeleteFileW(entry.path().c_str());
            }
        }
        ::RemoveDirectoryW(folder.c_str());
    } catch (const std::exception&) {
        return; // what remains does no harm
    }
}

} // namespace packaging
