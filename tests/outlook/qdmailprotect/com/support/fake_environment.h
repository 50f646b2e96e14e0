#pragma once

#include "outlook/qdmailprotect/com/add_in_environment.h"

#include <string>

namespace test {

/// An environment with given results. Calls that change something are logged as lines of the logger "wpx", so that
/// their order among the log lines is visible.
class fake_environment final : public AddInEnvironment
{
public:
    HRESULT mapi = 0;    ///< the result of starting MAPI
    int initialized = 0; ///< successful starts of MAPI minus its ends
    std::wstring module_path = L"C:\\no folder\\postwarden.dll";
    std::uint32_t module_path_error = 0; ///< not 0: thrown instead of returning the path
    std::string host_path = "C:\\client.exe";
    std::uint32_t host_path_error = 0; ///< not 0: thrown instead of returning the path
    std::uint32_t process_id = 1234;
    std::wstring user = L"ada";
    std::wstring sid = L"S-1-5-21-7";
    std::wstring sid_asked_for;
    std::string raises; ///< the operation that throws a std::runtime_error

    HRESULT InitializeMapi() override;
    void UninitializeMapi() override;
    std::wstring ModulePath() override;
    std::string HostPath() override;
    std::uint32_t ProcessId() override;
    std::wstring UserName() override;
    std::wstring UserSid(const std::wstring& userName) override;

private:
    void enter(const char* operation) const;
};

} // namespace test
