#include "broker/access_rules.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace broker {

namespace {

constexpr std::array<std::wstring_view, 4> administrators{
    L"S-1-5-32-544",                                                   // the group of administrators
    L"S-1-5-18",                                                       // the system
    L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464", // TrustedInstaller
    L"S-1-3-4",                                                        // whoever owns the object, who is checked too
};

// Right to write attributes included: it suffices to turn a file into a link to another one.
constexpr std::uint32_t write_data = 0x2;
constexpr std::uint32_t append_data = 0x4;
constexpr std::uint32_t write_extended_attributes = 0x10;
constexpr std::uint32_t delete_child = 0x40;
constexpr std::uint32_t write_attributes = 0x100;
constexpr std::uint32_t delete_object = 0x10000;
constexpr std::uint32_t write_list = 0x40000;
constexpr std::uint32_t write_owner = 0x80000;
constexpr std::uint32_t maximum_allowed = 0x2000000;
constexpr std::uint32_t generic_all = 0x10000000;
constexpr std::uint32_t generic_write = 0x40000000;
constexpr std::uint32_t changing = write_data | append_data | write_extended_attributes | delete_child |
                                   write_attributes | delete_object | write_list | write_owner | maximum_allowed |
                                   generic_all | generic_write;

} // namespace

access_rules::access_rules(std::vector<std::wstring> trusted_too)
    : trusted_(std::move(trusted_too))
{}

bool access_rules::trusts(const std::wstring& account) const
{
    return std::find(administrators.begin(), administrators.end(), account) != administrators.end() ||
           std::find(trusted_.begin(), trusted_.end(), account) != trusted_.end();
}

std::optional<std::wstring> access_rules::why_refused(const object_access& object) const
{
    if (object.is_link) {
        return L"it is a link";
    }
    if (!trusts(object.owner)) {
        return L"its owner is " + object.owner + L", not the administrators";
    }
    if (!object.entries) {
        return L"it has no access control list, so that everybody may change it";
    }
    for (const access_entry& entry : *object.entries) {
        if (entry.type == access_entry::kind::unknown) {
            return L"its access control list has an entry of an unknown kind";
        }
        if (entry.type == access_entry::kind::allows && !entry.for_children_only && (entry.rights & changing) != 0 &&
            !trusts(entry.account)) {
            return entry.account + L" may change it";
        }
    }
    return {};
}

std::vector<std::wstring> accounts_in(const std::wstring& list)
{
    constexpr std::wstring_view separators = L" ,;\t";
    std::vector<std::wstring> accounts;
    for (std::size_t begin = list.find_first_not_of(separators); begin != std::wstring::npos;) {
        const std::size_t end = list.find_first_of(separators, begin);
        accounts.push_back(list.substr(begin, end - begin));
        begin = list.find_first_not_of(separators, end);
    }
    return accounts;
}

} // namespace broker
