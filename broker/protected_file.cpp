#include "broker/protected_file.h"

#include <platform/handles.h>

#include <aclapi.h>
#include <filesystem>
#include <memory>
#include <sddl.h>

namespace broker {

namespace {

using fault = unusable_file::fault;

struct local_memory
{
    void operator()(void* memory) const noexcept { ::LocalFree(memory); }
};

[[noreturn]] void throw_unreadable(const std::wstring& path, DWORD code)
{
    throw unusable_file(fault::unreadable, path + L": it cannot be read (error " + std::to_wstring(code) + L")");
}

/// Opens a file or a folder without following a link, and without permission for others to rename or remove a folder
/// meanwhile.
winapi::file_handle open_object(const std::wstring& path, DWORD access, DWORD sharing)
{
    winapi::file_handle opened(::CreateFileW(path.c_str(), access | READ_CONTROL, sharing, nullptr, OPEN_EXISTING,
                                             FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!opened) {
        throw_unreadable(path, ::GetLastError());
    }
    return opened;
}

std::wstring account_of(PSID identifier)
{
    wchar_t* text = nullptr;
    if (!identifier || !::ConvertSidToStringSidW(identifier, &text)) {
        return L"an unknown account";
    }
    const std::unique_ptr<wchar_t, local_memory> owned(text);
    return text;
}

access_entry entry_of(const ACE_HEADER& header)
{
    access_entry entry;
    entry.for_children_only = (header.AceFlags & INHERIT_ONLY_ACE) != 0;
    // The entries of these kinds have the same layout.
    const auto& plain = reinterpret_cast<const ACCESS_ALLOWED_ACE&>(header);
    switch (header.AceType) {
    case ACCESS_ALLOWED_ACE_TYPE:
    case ACCESS_ALLOWED_CALLBACK_ACE_TYPE:
        entry.rights = plain.Mask;
        entry.account = account_of(const_cast<DWORD*>(&plain.SidStart));
        break;
    case ACCESS_DENIED_ACE_TYPE:
    case ACCESS_DENIED_CALLBACK_ACE_TYPE:
        entry.type = access_entry::kind::denies;
        break;
    default:
        entry.type = access_entry::kind::unknown;
        break;
    }
    return entry;
}

object_access access_of(HANDLE object, const std::wstring& path)
{
    PSID owner = nullptr;
    PACL list = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    const DWORD code = ::GetSecurityInfo(object, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                                         &owner, nullptr, &list, nullptr, &descriptor);
    if (code != ERROR_SUCCESS) {
        throw_unreadable(path, code);
    }
    const std::unique_ptr<void, local_memory> owned(descriptor);
    object_access found{account_of(owner), {}, false};
    if (list) {
        found.entries.emplace();
        for (DWORD index = 0; index < list->AceCount; ++index) {
            void* entry = nullptr;
            if (!::GetAce(list, index, &entry)) {
                throw_unreadable(path, ::GetLastError());
            }
            found.entries->push_back(entry_of(*static_cast<const ACE_HEADER*>(entry)));
        }
    }
    return found;
}

void check(HANDLE object, const std::wstring& path, const access_rules& rules, bool folder)
{
    BY_HANDLE_FILE_INFORMATION information{};
    if (!::GetFileInformationByHandle(object, &information)) {
        throw_unreadable(path, ::GetLastError());
    }
    object_access found = access_of(object, path);
    found.is_link = (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if (const auto why = rules.why_refused(found)) {
        throw unusable_file(fault::refused, path + L": " + *why);
    }
    if (((information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) != folder) {
        throw unusable_file(fault::unreadable, path + (folder ? L": it is no folder" : L": it is a folder"));
    }
}

std::string contents_of(HANDLE file, const std::wstring& path, std::size_t largest)
{
    std::string contents(largest + 1, '\0');
    std::size_t size = 0;
    DWORD received = 0;
    do {
        if (!::ReadFile(file, contents.data() + size, static_cast<DWORD>(contents.size() - size), &received, nullptr)) {
            throw_unreadable(path, ::GetLastError());
        }
        size += received;
    } while (received != 0 && size < contents.size());
    if (size > largest) {
        throw unusable_file(fault::unreadable, path + L": it is larger than " + std::to_wstring(largest) + L" bytes");
    }
    contents.resize(size);
    return contents;
}

} // namespace

std::string read_protected_file(const std::wstring& path, const access_rules& rules, std::size_t largest)
{
    const std::filesystem::path whole(path);
    if (!whole.is_absolute() || !whole.has_filename()) {
        throw unusable_file(fault::unreadable, L"\"" + path + L"\" is no absolute path of a file");
    }
    // While the folder is open, neither it nor a folder above it can be renamed, so that the file is in this folder.
    const std::wstring folder_path = whole.parent_path().wstring();
    const auto folder = open_object(folder_path, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE);
    check(folder.get(), folder_path, rules, true);
    const auto file = open_object(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    check(file.get(), path, rules, false);
    return contents_of(file.get(), path, largest);
}

void check_protected_file(const std::wstring& path, const access_rules& rules)
{
    const auto file = open_object(path, FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE);
    check(file.get(), path, rules, false);
}

} // namespace broker
