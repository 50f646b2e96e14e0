#pragma once

#include "tool/presence/service_names.h"

#include <cstdint>
#include <functional>

namespace presence {

/// A handle of the system; null if there is none.
using object_handle = void*;

inline constexpr std::uint32_t synchronize_access = 0x100000; ///< SYNCHRONIZE

/// The system's functions for private namespaces and mutexes. A function that the system lacks is empty; a test
/// supplies its own. Functions that return a handle return null on failure.
struct namespace_functions
{
    std::function<object_handle(const wchar_t* name, std::uint32_t flags)> CreateBoundaryDescriptorW;
    std::function<void(object_handle descriptor)> DeleteBoundaryDescriptor;
    /// May replace the given descriptor by another one.
    std::function<bool(object_handle& descriptor, const sid& required)> AddSIDToBoundaryDescriptor;
    std::function<object_handle(object_handle descriptor, const wchar_t* alias)> OpenPrivateNamespaceW;
    /// `security` is a security descriptor as text.
    std::function<object_handle(const wchar_t* security, object_handle descriptor, const wchar_t* alias)>
        CreatePrivateNamespaceW;
    std::function<bool(object_handle space, std::uint32_t flags)> ClosePrivateNamespace;

    std::function<object_handle(std::uint32_t access, bool inherit, const wchar_t* name)> OpenMutexW;
    /// Also returns null if a mutex of that name exists.
    std::function<object_handle(const wchar_t* security, const wchar_t* name)> CreateMutexW;
    std::function<void(object_handle object)> CloseHandle;
    std::function<std::uint32_t()> GetLastError;
};

/// Returns the functions of this system; those of namespaces are looked up in "kernel32", so that a program also runs
/// on systems without them. Windows only.
[[nodiscard]] namespace_functions system_namespace_functions();

} // namespace presence
