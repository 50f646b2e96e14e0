#pragma once

#include "tool/system/hresult.h"

#include <cstdint>
#include <string>

/// The system services that the add-in requires at connection. Tests supply their own. Not thread-safe.
class AddInEnvironment
{
public:
    virtual HRESULT InitializeMapi() = 0;
    virtual void UninitializeMapi() = 0;
    /// Returns the path of the add-in's own module. Throws error::win32exception.
    [[nodiscard]] virtual std::wstring ModulePath() = 0;
    /// Returns the path of the host executable. Throws error::win32exception.
    [[nodiscard]] virtual std::string HostPath() = 0;
    [[nodiscard]] virtual std::uint32_t ProcessId() = 0;
    /// Returns the name of the current user; empty if the system does not provide it.
    [[nodiscard]] virtual std::wstring UserName() = 0;
    /// Returns the string form of a user's security identifier; empty if the look-up fails.
    [[nodiscard]] virtual std::wstring UserSid(const std::wstring& userName) = 0;
    virtual ~AddInEnvironment() = default;
};

/// Queries the operating system.
class SystemEnvironment final : public AddInEnvironment
{
public:
    HRESULT InitializeMapi() override;
    void UninitializeMapi() override;
    std::wstring ModulePath() override;
    std::string HostPath() override;
    std::uint32_t ProcessId() override;
    std::wstring UserName() override;
    std::wstring UserSid(const std::wstring& userName) override;
};
