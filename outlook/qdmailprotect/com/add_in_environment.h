#pragma once

#include "tool/system/hresult.h"

#include <cstdint>
#include <string>

/// What the add-in asks of the machine at its connection; tests bring their own. Used on one thread.
class AddInEnvironment
{
public:
    virtual HRESULT InitializeMapi() = 0;
    virtual void UninitializeMapi() = 0;
    /// The file of the add-in's own module. Raises error::win32exception.
    [[nodiscard]] virtual std::wstring ModulePath() = 0;
    /// The path of the host executable. Raises error::win32exception.
    [[nodiscard]] virtual std::string HostPath() = 0;
    [[nodiscard]] virtual std::uint32_t ProcessId() = 0;
    /// Empty when the system can't tell.
    [[nodiscard]] virtual std::wstring UserName() = 0;
    /// The textual security identifier of a user; empty when the look-up fails.
    [[nodiscard]] virtual std::wstring UserSid(const std::wstring& userName) = 0;
    virtual ~AddInEnvironment() = default;
};

/// This machine, this process, this user.
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
