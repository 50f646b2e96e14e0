#include "tool/system/identity_windows.h"

#include "tool/system/errors.h"
#include "tool/system/identity.h"
#include "tool/system/win32_codes.h"

#include <array>
#include <memory>
#include <sddl.h>

namespace winapi {

namespace {

struct local_free
{
    void operator()(wchar_t* text) const noexcept { ::LocalFree(text); }
};

} // namespace

std::wstring current_user_name()
{
    std::array<wchar_t, 256> name{};
    auto size = static_cast<DWORD>(name.size());
    return ::GetUserNameW(name.data(), &size) != 0 ? std::wstring(name.data()) : std::wstring();
}

std::wstring user_sid_text(const std::wstring& user_name)
{
    return user_sid_text(user_name, ::LookupAccountNameW);
}

std::wstring user_sid_text(const std::wstring& user_name, account_look_up look_up)
{
    alignas(SID) std::array<std::byte, 260> sid{};
    std::array<wchar_t, 20> domain{};
    auto sid_size = static_cast<DWORD>(sid.size());
    auto domain_size = static_cast<DWORD>(domain.size());
    SID_NAME_USE use{};
    if (look_up(nullptr, user_name.c_str(), sid.data(), &sid_size, domain.data(), &domain_size, &use) == 0) {
        return {};
    }
    wchar_t* text = nullptr;
    if (::ConvertSidToStringSidW(sid.data(), &text) == 0) {
        return {};
    }
    const std::unique_ptr<wchar_t, local_free> owner(text);
    return text;
}

std::uint32_t current_process_id() noexcept
{
    return ::GetCurrentProcessId();
}

bool process_id_to_session_id(std::uint32_t process_id, std::uint32_t& session_id) noexcept
{
    DWORD session = 0;
    if (::ProcessIdToSessionId(process_id, &session) == 0) {
        return false;
    }
    session_id = session;
    return true;
}

std::string current_process_path()
{
    // The call truncates a path that is too long for the buffer, and reports this by filling the buffer.
    std::string path(MAX_PATH, '\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameA(nullptr, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) {
            throw error::win32exception(::GetLastError(), "tool\\system\\identity", __LINE__);
        }
        if (length < path.size()) {
            path.resize(length);
            return path;
        }
        if (path.size() > 0x10000) {
            throw error::win32exception(code::insufficient_buffer, "tool\\system\\identity", __LINE__);
        }
        path.resize(path.size() * 2);
    }
}

} // namespace winapi
