#include "client/model/addin.h"

#include "client/model/registry_key.h"
#include "tool/system/conversions.h"

#include <memory>
#include <optional>
#include <utility>

namespace host {

namespace {

/// The empty list of additional arguments that is passed in each call of an add-in.
class no_arguments
{
public:
    no_arguments()
        : list_(SafeArrayCreateVector(VT_VARIANT, 1, 0))
    {}
    no_arguments(const no_arguments&) = delete;
    no_arguments& operator=(const no_arguments&) = delete;
    ~no_arguments() { SafeArrayDestroy(list_); }
    SAFEARRAY** get() noexcept { return &list_; }

private:
    SAFEARRAY* list_;
};

[[noreturn]] void fail(const std::string& what, HRESULT result)
{
    throw addin_failure(what + " (0x" + winapi::hex32(static_cast<std::uint32_t>(result)) + ")", result);
}

std::string narrow(const std::wstring& text)
{
    return winapi::conv_to_char(text, winapi::code_page_utf8);
}

constexpr const wchar_t* classes = L"Software\\Classes\\";

/// Returns the class of a ProgID as registered below one root. A ProgID without a class refers to its current version,
/// which the look-up of some systems does not resolve.
std::optional<std::wstring> class_of_prog_id(HKEY root, const std::wstring& prog_id)
{
    const auto own = registry_key::open(root, classes + prog_id + L"\\CLSID").text({});
    const auto current = registry_key::open(root, classes + prog_id + L"\\CurVer").text({});
    return own || !current ? own : registry_key::open(root, classes + *current + L"\\CLSID").text({});
}

HRESULT class_of_machine(const std::wstring& prog_id, CLSID& id)
{
    const HRESULT found = CLSIDFromProgID(prog_id.c_str(), &id);
    if (SUCCEEDED(found)) {
        return found;
    }
    const auto class_id = class_of_prog_id(HKEY_LOCAL_MACHINE, prog_id);
    return class_id ? CLSIDFromString(class_id->c_str(), &id) : found;
}

/// Obtains the class object from a module whose class is registered for the current user only.
HRESULT class_of_user(const std::wstring& prog_id, ComPtr<IClassFactory>& factory)
{
    CLSID id{};
    const auto class_id = class_of_prog_id(HKEY_CURRENT_USER, prog_id);
    if (!class_id || FAILED(CLSIDFromString(class_id->c_str(), &id))) {
        return CO_E_CLASSSTRING;
    }
    const auto module_path =
        registry_key::open(HKEY_CURRENT_USER, std::wstring(classes) + L"CLSID\\" + *class_id + L"\\InprocServer32")
            .text({});
    if (!module_path) {
        return REGDB_E_CLASSNOTREG;
    }
    // The module stays loaded until the process ends, as it does in a mail client.
    HMODULE module = LoadLibraryExW(module_path->c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (!module) {
        return HRESULT_FROM_WIN32(GetLastError());
    }
    using get_class_object = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
    const auto get =
        reinterpret_cast<get_class_object>(reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    return get ? get(id, IID_IClassFactory, Receive(factory)) : CO_E_ERRORINDLL;
}

} // namespace

ComPtr<addin_interface> create_addin(const std::wstring& prog_id)
{
    CLSID id{};
    ComPtr<IUnknown> object;
    HRESULT result = class_of_machine(prog_id, id);
    if (SUCCEEDED(result)) {
        result = CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, Receive(object));
    } else {
        ComPtr<IClassFactory> factory;
        result = class_of_user(prog_id, factory);
        if (SUCCEEDED(result)) {
            result = factory->CreateInstance(nullptr, IID_IUnknown, Receive(object));
        }
    }
    if (FAILED(result)) {
        fail("the add-in " + narrow(prog_id) + " cannot be created", result);
    }
    ComPtr<addin_interface> addin;
    result = Query(object.get(), iid_addin, addin);
    if (FAILED(result)) {
        fail(narrow(prog_id) + " is no add-in", result);
    }
    return addin;
}

connected_addin::connected_addin(ComPtr<addin_interface> addin, ComPtr<application> client)
    : addin_(std::move(addin))
    , client_(std::move(client))
{
    no_arguments custom;
    const ComPtr<addin_instance> instance = MakeCom<addin_instance>();
    const HRESULT result = addin_->OnConnection(client_.get(), connect_mode::startup, instance.get(), custom.get());
    if (FAILED(result)) {
        fail("the add-in refuses to be connected", result);
    }
}

connected_addin::~connected_addin()
{
    no_arguments custom;
    addin_->OnBeginShutdown(custom.get());
    addin_->OnDisconnection(disconnect_mode::host_shutdown, custom.get());
}

void connected_addin::startup_complete()
{
    no_arguments custom;
    addin_->OnStartupComplete(custom.get());
}

} // namespace host
