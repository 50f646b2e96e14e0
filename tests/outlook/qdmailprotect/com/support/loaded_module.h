#pragma once

#include "outlook/qdmailprotect/mapi/mapi_ptr.h"

#include <platform/handles.h>

#include <filesystem>

namespace test {

/// A copy of the add-in's module in a new temporary folder, optionally with the sample localisation library.
class module_copy
{
public:
    explicit module_copy(const std::wstring& folder_name, bool with_texts = false);
    module_copy(const module_copy&) = delete;
    module_copy& operator=(const module_copy&) = delete;
    ~module_copy();

    [[nodiscard]] std::wstring path() const { return (folder_ / L"postwarden.dll").wstring(); }
    [[nodiscard]] const std::filesystem::path& folder() const noexcept { return folder_; }

private:
    std::filesystem::path folder_;
};

/// The module, loaded by its path as by a client that finds it in the registry.
class loaded_module
{
public:
    explicit loaded_module(const std::wstring& path);

    [[nodiscard]] HMODULE handle() const noexcept { return module_.get(); }
    explicit operator bool() const noexcept { return static_cast<bool>(module_); }
    HRESULT class_object(REFCLSID id, ComPtr<IClassFactory>& factory) const;
    /// Creates an object of the add-in's class.
    HRESULT create(REFIID iid, void** object) const;
    [[nodiscard]] HRESULT can_unload_now() const;

private:
    template <typename Function>
    Function exported(const char* name) const
    {
        return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_.get(), name)));
    }
    winapi::module_handle module_;
};

/// Runs a program until it exits; returns its exit code, or -1 if it cannot be started.
int run_program(std::wstring command_line);

} // namespace test
