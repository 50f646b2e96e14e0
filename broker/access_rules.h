#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace broker {

/// One entry of an access control list. Identifiers of accounts are texts such as "S-1-5-32-544".
struct access_entry
{
    enum class kind
    {
        allows,
        denies,
        unknown
    };
    kind type = kind::allows;
    bool for_children_only = false; ///< the entry is inherited by new objects and does not apply to this one
    std::uint32_t rights = 0;       ///< the access mask
    std::wstring account;
};

/// Owner and access control list of a file or a folder.
struct object_access
{
    std::wstring owner;
    /// Nothing if the object has no list, which allows everything to everybody.
    std::optional<std::vector<access_entry>> entries;
    bool is_link = false; ///< a reparse point, which leads to another object
};

/// Decides whether only administrators can change an object: the local administrators, the system and its installer of
/// updates, and the accounts that are trusted in addition.
class access_rules
{
public:
    explicit access_rules(std::vector<std::wstring> trusted_too = {});

    /// Returns why an object is refused, nothing if it is no link and only trusted accounts own and may change it: its
    /// contents, its attributes, its name, its access control list or its owner.
    [[nodiscard]] std::optional<std::wstring> why_refused(const object_access& object) const;

private:
    [[nodiscard]] bool trusts(const std::wstring& account) const;

    std::vector<std::wstring> trusted_;
};

/// Splits a list of accounts, which are separated by blanks, commas or semicolons.
[[nodiscard]] std::vector<std::wstring> accounts_in(const std::wstring& list);

} // namespace broker
