#include "tool/presence/namespace_functions.h"

#include <platform/handles.h>

#include <memory>
#include <sddl.h>

namespace presence {

namespace {

/// Returns a function of kernel32, or null if this system has none of that name.
template <typename Function>
Function find(const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleW(L"kernel32"), name)));
}

struct local_free
{
    void operator()(void* memory) const noexcept { ::LocalFree(memory); }
};

/// Security attributes from a security descriptor's text.
class security
{
public:
    explicit security(const wchar_t* text)
    {
        PSECURITY_DESCRIPTOR made = nullptr;
        if (::ConvertStringSecurityDescriptorToSecurityDescriptorW(text, SDDL_REVISION_1, &made, nullptr)) {
            descriptor_.reset(made);
            attributes_ = {sizeof(attributes_), made, FALSE};
        }
    }
    /// Null if the text is not a valid descriptor.
    [[nodiscard]] SECURITY_ATTRIBUTES* get() noexcept { return descriptor_ ? &attributes_ : nullptr; }

private:
    std::unique_ptr<void, local_free> descriptor_;
    SECURITY_ATTRIBUTES attributes_{};
};

object_handle create_mutex(const wchar_t* security_text, const wchar_t* name)
{
    security wanted(security_text);
    if (!wanted.get()) {
        return nullptr;
    }
    winapi::kernel_handle made(::CreateMutexW(wanted.get(), FALSE, name));
    if (::GetLastError() == ERROR_ALREADY_EXISTS) {
        return nullptr; // another program's
    }
    return made.release();
}

void find_namespace_functions(namespace_functions& functions)
{
    if (const auto create = find<HANDLE(WINAPI*)(LPCWSTR, ULONG)>("CreateBoundaryDescriptorW")) {
        functions.CreateBoundaryDescriptorW = create;
    }
    if (const auto remove = find<VOID(WINAPI*)(HANDLE)>("DeleteBoundaryDescriptor")) {
        functions.DeleteBoundaryDescriptor = remove;
    }
    if (const auto add = find<BOOL(WINAPI*)(HANDLE*, PSID)>("AddSIDToBoundaryDescriptor")) {
        functions.AddSIDToBoundaryDescriptor = [add](object_handle& descriptor, const sid& required) {
            sid copy = required; // the system takes it through a pointer to non-const
            return add(&descriptor, &copy) != FALSE;
        };
    }
    if (const auto open = find<HANDLE(WINAPI*)(LPVOID, LPCWSTR)>("OpenPrivateNamespaceW")) {
        functions.OpenPrivateNamespaceW = open;
    }
    if (const auto create = find<HANDLE(WINAPI*)(LPSECURITY_ATTRIBUTES, LPVOID, LPCWSTR)>("CreatePrivateNamespaceW")) {
        functions.CreatePrivateNamespaceW = [create](const wchar_t* security_text, object_handle descriptor,
                                                     const wchar_t* alias) -> object_handle {
            security wanted(security_text);
            return wanted.get() ? create(wanted.get(), descriptor, alias) : nullptr;
        };
    }
    if (const auto close = find<BOOLEAN(WINAPI*)(HANDLE, ULONG)>("ClosePrivateNamespace")) {
        functions.ClosePrivateNamespace = [close](object_handle space, std::uint32_t flags) {
            return close(space, flags) != FALSE;
        };
    }
}

} // namespace

namespace_functions system_namespace_functions()
{
    namespace_functions functions;
    find_namespace_functions(functions);
    functions.OpenMutexW = [](std::uint32_t access, bool inherit, const wchar_t* name) -> object_handle {
        return ::OpenMutexW(access, inherit ? TRUE : FALSE, name);
    };
    functions.CreateMutexW = create_mutex;
    functions.CloseHandle = [](object_handle object) { ::CloseHandle(object); };
    functions.GetLastError = [] { return static_cast<std::uint32_t>(::GetLastError()); };
    return functions;
}

} // namespace presence
