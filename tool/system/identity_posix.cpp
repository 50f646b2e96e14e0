#include "tool/system/conversions.h"
#include "tool/system/errors.h"
#include "tool/system/identity.h"
#include "tool/system/win32_codes.h"

#include <array>
#include <cerrno>
#include <optional>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace winapi {

namespace {

struct user_entry
{
    std::string name;
    uid_t id = 0;
};

/// Runs one of the two look-ups of the user database, `look_up(entry, buffer, result)`, with a buffer that grows until
/// the entry fits.
template <typename LookUp>
std::optional<user_entry> find_user(const LookUp& look_up)
{
    for (std::size_t size = 1024; size <= 1024 * 1024; size *= 2) {
        std::vector<char> buffer(size);
        passwd entry{};
        passwd* found = nullptr;
        const int error = look_up(&entry, buffer, &found);
        if (error == ERANGE) {
            continue;
        }
        if (error != 0 || found == nullptr) {
            return std::nullopt;
        }
        return user_entry{found->pw_name, found->pw_uid};
    }
    return std::nullopt;
}

} // namespace

std::wstring current_user_name()
{
    const auto user = find_user([](passwd* entry, std::vector<char>& buffer, passwd** found) {
        return ::getpwuid_r(::geteuid(), entry, buffer.data(), buffer.size(), found);
    });
    return user ? conv_to_wide(user->name, code_page_utf8) : std::wstring();
}

std::wstring user_sid_text(const std::wstring& user_name)
{
    const std::string name = conv_to_char(user_name, code_page_utf8);
    const auto user = find_user([&name](passwd* entry, std::vector<char>& buffer, passwd** found) {
        return ::getpwnam_r(name.c_str(), entry, buffer.data(), buffer.size(), found);
    });
    return user ? L"S-1-5-21-0-0-0-" + std::to_wstring(user->id) : std::wstring();
}

std::uint32_t current_process_id() noexcept
{
    return static_cast<std::uint32_t>(::getpid());
}

bool process_id_to_session_id(std::uint32_t process_id, std::uint32_t& session_id) noexcept
{
    const pid_t session = ::getsid(static_cast<pid_t>(process_id));
    if (session == -1) {
        // The Windows call reports an invalid parameter if there is no such process.
        last_error_code(errno == ESRCH ? code::invalid_parameter : code_from_errno(errno));
        return false;
    }
    session_id = static_cast<std::uint32_t>(session);
    return true;
}

std::string current_process_path()
{
    std::array<char, 4096> path{};
    const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
    if (length < 0) {
        throw error::win32exception(code_from_errno(errno), "tool\\system\\identity", __LINE__);
    }
    return std::string(path.data(), static_cast<std::size_t>(length));
}

} // namespace winapi
