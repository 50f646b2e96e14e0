#include "broker/broker_registration.h"

#include "broker/class_registration.h"
#include "broker/machine_configuration.h"
#include "broker/registry_access.h"
#include "events/source_registration.h"
#include "outlook/qdmailprotect/com/own_module.h"
#include "outlook/qdmailprotect/link/com_broker_windows.h"

#include <knownfolders.h>
#include <memory>
#include <objbase.h>
#include <shlobj.h>
#include <string>

namespace broker {

namespace {

constexpr com_class provider{provider_class, ComBroker::ProgId, L"postwarden settings broker"};

struct task_memory
{
    void operator()(wchar_t* memory) const noexcept { ::CoTaskMemFree(memory); }
};

/// Returns an empty path if the folder is not known.
std::wstring usual_settings_file()
{
    wchar_t* folder = nullptr;
    const HRESULT found = ::SHGetKnownFolderPath(FOLDERID_ProgramData, 0, nullptr, &folder);
    const std::unique_ptr<wchar_t, task_memory> owned(folder);
    return SUCCEEDED(found) ? std::wstring(folder) + L"\\postwarden\\settings.json" : std::wstring();
}

LONG specify_settings_file()
{
    if (text_in(HKEY_LOCAL_MACHINE, configuration_key, settings_file_name)) {
        return ERROR_SUCCESS;
    }
    const std::wstring file = usual_settings_file();
    return file.empty() ? ERROR_PATH_NOT_FOUND
                        : set_text(HKEY_LOCAL_MACHINE, configuration_key, settings_file_name, file);
}

LONG forget_settings_file()
{
    const auto file = text_in(HKEY_LOCAL_MACHINE, configuration_key, settings_file_name);
    if (file && *file == usual_settings_file()) {
        const LONG code = remove_value(HKEY_LOCAL_MACHINE, configuration_key, settings_file_name);
        if (code != ERROR_SUCCESS) {
            return code;
        }
    }
    LONG code = ERROR_SUCCESS;
    std::wstring key = configuration_key;
    for (int level = 0; code == ERROR_SUCCESS && level < 3; ++level) { // down to the maker's key
        code = remove_if_empty(HKEY_LOCAL_MACHINE, key);
        key.resize(key.rfind(L'\\'));
    }
    return code;
}

} // namespace

LONG register_broker()
{
    LONG code = register_class(HKEY_LOCAL_MACHINE, provider);
    if (code == ERROR_SUCCESS) {
        code = static_cast<LONG>(events::add_source(event_source, OwnModulePath()));
    }
    return code == ERROR_SUCCESS ? specify_settings_file() : code;
}

LONG unregister_broker()
{
    const LONG classes = unregister_class(HKEY_LOCAL_MACHINE, provider);
    const auto source = static_cast<LONG>(events::remove_source(event_source));
    const LONG file = forget_settings_file();
    if (classes != ERROR_SUCCESS) {
        return classes;
    }
    return source != ERROR_SUCCESS ? source : file;
}

} // namespace broker
