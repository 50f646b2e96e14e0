#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace manager {

/// The name of the service unless another one is specified.
inline constexpr const wchar_t* usual_name = L"postwarden-service";

/// What the system stores about a service that starts with the system.
struct service_entry
{
    std::wstring name = usual_name;
    std::wstring display_name = L"postwarden scanning service";
    std::wstring description = L"Scans the mail that the readers of this machine open, for the postwarden add-in.";
    std::wstring command; ///< line: the quoted path of the program and its arguments
    std::wstring account = L"NT AUTHORITY\\LocalService";
    /// All that the account keeps.
    std::vector<std::wstring> privileges{L"SeChangeNotifyPrivilege"};
    /// The waits before the service is started again, in milliseconds; the last one applies to further failures.
    std::vector<std::uint32_t> restart_delays{1000, 5000, 30000};
    std::uint32_t failures_forgotten = 86400; ///< seconds without a failure after which the first wait applies again
};

/// Returns a command line from which the program gets exactly these arguments.
[[nodiscard]] std::wstring command_line_of(const std::wstring& program, const std::vector<std::wstring>& arguments);

} // namespace manager
