#include "outlook/qdmailprotect/com/system_registration.h"

#include "outlook/qdmailprotect/com/extensibility.h"
#include "outlook/qdmailprotect/com/own_module.h"
#include "outlook/qdmailprotect/com/registration_script.h"
#include "outlook/qdmailprotect/com/resource_ids.h"
#include "outlook/qdmailprotect/mapi/mapi_ptr.h"
#include "tool/system/conversions.h"
#include "tool/system/errors.h"

#include <string>
#include <string_view>

// The per-user functions are in the import library but not declared in the headers.
extern "C" {
HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* library, OLECHAR* path, OLECHAR* helpFolder);
HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID id, WORD major, WORD minor, LCID locale, SYSKIND system);
}

/// The system's interpreter of registry scripts. It is implemented by the system and therefore has external linkage:
/// the compiler would treat a class with internal linkage as one that is never implemented.
struct IRegistrar : IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR file, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR file, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;

protected:
    ~IRegistrar() = default;
};

namespace {

constexpr const char* SourcePath = "outlook\\qdmailprotect\\com\\system_registration";
constexpr const wchar_t* AppId = L"{3104EC0B-CD0B-44A8-B469-EE0979E22057}";
constexpr const wchar_t* ScriptType = L"REGISTRY";

constexpr CLSID CLSID_Registrar{0x44EC053A, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};
constexpr IID IID_IRegistrar{0x44EC053B, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};

/// Creates the registrar and adds the replacements that the script requires.
HRESULT MakeRegistrar(const std::wstring& modulePath, ComPtr<IRegistrar>& registrar)
{
    HRESULT result =
        CoCreateInstance(CLSID_Registrar, nullptr, CLSCTX_INPROC_SERVER, IID_IRegistrar, Receive(registrar));
    if (SUCCEEDED(result)) {
        result = registrar->AddReplacement(L"APPID", AppId);
    }
    if (SUCCEEDED(result)) {
        result = registrar->AddReplacement(L"MODULE", QuotedForScript(modulePath).c_str());
    }
    return result;
}

bool IsTypeLibraryRegistered()
{
    BSTR path = nullptr;
    const HRESULT result =
        QueryPathOfRegTypeLib(LIBID_QDMailProtectLib, TypeLibraryMajor, TypeLibraryMinor, LOCALE_NEUTRAL, &path);
    SysFreeString(path);
    return SUCCEEDED(result);
}

/// Returns the script from the module's resources.
std::wstring LoadScript()
{
    const HMODULE module = OwnModule();
    const HRSRC found = ::FindResourceW(module, MAKEINTRESOURCEW(IDR_REGISTRY_SCRIPT), ScriptType);
    const HGLOBAL loaded = found ? ::LoadResource(module, found) : nullptr;
    const void* bytes = loaded ? ::LockResource(loaded) : nullptr;
    if (!bytes) {
        throw error::win32exception(::GetLastError(), SourcePath, __LINE__);
    }
    const std::string_view text(static_cast<const char*>(bytes), ::SizeofResource(module, found));
    return winapi::conv_to_wide(text);
}

} // namespace

HRESULT SystemRegistration::RunScript(RegistrationScope scope, bool install)
{
    const std::wstring path = OwnModulePath();
    ComPtr<IRegistrar> registrar;
    const HRESULT made = MakeRegistrar(path, registrar);
    if (FAILED(made)) {
        return made;
    }
    if (scope == RegistrationScope::User) {
        const std::wstring script = ScriptForUser(LoadScript());
        return install ? registrar->StringRegister(script.c_str()) : registrar->StringUnregister(script.c_str());
    }
    return install ? registrar->ResourceRegister(path.c_str(), IDR_REGISTRY_SCRIPT, ScriptType)
                   : registrar->ResourceUnregister(path.c_str(), IDR_REGISTRY_SCRIPT, ScriptType);
}

HRESULT SystemRegistration::RegisterTypeLibrary(RegistrationScope scope)
{
    std::wstring path = OwnModulePath();
    std::wstring folder = BesidePath(path, {});
    ComPtr<ITypeLib> library;
    const HRESULT loaded = LoadTypeLibEx(path.c_str(), REGKIND_NONE, Receive(library));
    if (FAILED(loaded)) {
        return loaded;
    }
    return scope == RegistrationScope::User ? RegisterTypeLibForUser(library.get(), path.data(), folder.data())
                                            : RegisterTypeLib(library.get(), path.data(), folder.data());
}

HRESULT SystemRegistration::UnregisterTypeLibrary(RegistrationScope scope)
{
    const HRESULT result =
        scope == RegistrationScope::User
            ? UnRegisterTypeLibForUser(LIBID_QDMailProtectLib, TypeLibraryMajor, TypeLibraryMinor, LOCALE_NEUTRAL,
                                       SYS_WIN64)
            : UnRegisterTypeLib(LIBID_QDMailProtectLib, TypeLibraryMajor, TypeLibraryMinor, LOCALE_NEUTRAL, SYS_WIN64);
    // Removing an entry that does not exist is not a failure; systems report this case in different ways.
    return FAILED(result) && !IsTypeLibraryRegistered() ? S_OK : result;
}
