#include "broker/broker_registration.h"

#include "broker/security_layer_provider.h"
#include "outlook/qdmailprotect/com/own_module.h"
#include "outlook/qdmailprotect/link/com_broker_windows.h"

#include <platform/handles.h>

#include <array>
#include <string>

namespace host {

namespace {

const std::wstring classes = L"Software\\Classes\\";

std::wstring class_id_text()
{
    std::array<wchar_t, 40> text{};
    ::StringFromGUID2(security_layer_provider_id, text.data(), static_cast<int>(text.size()));
    return text.data();
}

std::wstring class_key()
{
    return classes + L"CLSID\\" + class_id_text();
}

std::wstring program_key()
{
    return classes + ComBroker::ProgId;
}

/// Sets a string value of a key and creates the key if it does not exist. The default value has no name.
LONG set_text(HKEY root, const std::wstring& path, const wchar_t* name, const std::wstring& text)
{
    winapi::registry_handle key;
    const LONG code = ::RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, key.put(), nullptr);
    if (code != ERROR_SUCCESS) {
        return code;
    }
    const auto size = static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t));
    return ::RegSetValueExW(key.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()), size);
}

LONG remove_tree(HKEY root, const std::wstring& path)
{
    const LONG code = ::RegDeleteTreeW(root, path.c_str());
    return code == ERROR_FILE_NOT_FOUND ? ERROR_SUCCESS : code;
}

} // namespace

LONG register_broker(HKEY root)
{
    const std::wstring server = class_key() + L"\\InprocServer32";
    LONG code = set_text(root, class_key(), nullptr, L"Stand-in settings broker");
    if (code == ERROR_SUCCESS) {
        code = set_text(root, server, nullptr, OwnModulePath());
    }
    if (code == ERROR_SUCCESS) {
        code = set_text(root, server, L"ThreadingModel", L"Both");
    }
    if (code == ERROR_SUCCESS) {
        code = set_text(root, program_key() + L"\\CLSID", nullptr, class_id_text());
    }
    return code;
}

LONG unregister_broker(HKEY root)
{
    const LONG program = remove_tree(root, program_key());
    const LONG server = remove_tree(root, class_key());
    return program != ERROR_SUCCESS ? program : server;
}

} // namespace host
