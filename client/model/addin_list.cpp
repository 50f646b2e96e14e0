#include "client/model/addin_list.h"

#include "client/model/registry_key.h"

#include <map>

namespace host {

namespace {

constexpr const wchar_t* addins_key = L"Software\\Microsoft\\Office\\Outlook\\Addins";

struct without_case
{
    bool operator()(const std::wstring& left, const std::wstring& right) const
    {
        return CompareStringOrdinal(left.data(), static_cast<int>(left.size()), right.data(),
                                    static_cast<int>(right.size()), TRUE) == CSTR_LESS_THAN;
    }
};

using entries = std::map<std::wstring, addin_entry, without_case>;

void add_entries(HKEY root, bool of_user, entries& found)
{
    const std::wstring path(addins_key);
    for (const std::wstring& name : registry_key::open(root, path).subkeys()) {
        std::wstring own_path = path;
        own_path.append(L"\\").append(name);
        const registry_key key = registry_key::open(root, own_path);
        found[name] = {name, key.text(L"FriendlyName").value_or(name), key.number(L"LoadBehavior").value_or(0),
                       of_user};
    }
}

} // namespace

std::vector<addin_entry> list_addins()
{
    entries found;
    add_entries(HKEY_LOCAL_MACHINE, false, found);
    add_entries(HKEY_CURRENT_USER, true, found);
    std::vector<addin_entry> result;
    for (auto& [name, entry] : found) {
        result.push_back(std::move(entry));
    }
    return result;
}

} // namespace host
