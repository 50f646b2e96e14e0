#include "broker/class_registration.h"

#include "broker/registry_access.h"
#include "outlook/qdmailprotect/com/own_module.h"

#include <array>
#include <objbase.h>
#include <string>

namespace broker {

namespace {

const std::wstring classes = L"Software\\Classes\\";

std::wstring text_of(const CLSID& id)
{
    std::array<wchar_t, 40> text{};
    ::StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
    return text.data();
}

std::wstring class_key(const com_class& what)
{
    return classes + L"CLSID\\" + text_of(what.id);
}

std::wstring program_key(const com_class& what)
{
    return classes + what.program;
}

} // namespace

LONG register_class(HKEY root, const com_class& what)
{
    const std::wstring server = class_key(what) + L"\\InprocServer32";
    LONG code = set_text(root, class_key(what), {}, what.description);
    if (code == ERROR_SUCCESS) {
        code = set_text(root, server, {}, OwnModulePath());
    }
    if (code == ERROR_SUCCESS) {
        code = set_text(root, server, L"ThreadingModel", L"Both");
    }
    if (code == ERROR_SUCCESS) {
        code = set_text(root, program_key(what) + L"\\CLSID", {}, text_of(what.id));
    }
    return code;
}

LONG unregister_class(HKEY root, const com_class& what)
{
    const auto named = text_in(root, program_key(what) + L"\\CLSID", {});
    const bool other = named && *named != text_of(what.id);
    const LONG program = other ? LONG{ERROR_SUCCESS} : remove_tree(root, program_key(what));
    const LONG server = remove_tree(root, class_key(what));
    return program != ERROR_SUCCESS ? program : server;
}

} // namespace broker
