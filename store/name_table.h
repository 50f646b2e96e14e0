#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

namespace host {

/// Name of a property: a set and either a number or a string. The comparison is case-sensitive.
struct property_name
{
    GUID set{};
    std::variant<std::int32_t, std::wstring> name;
};

/// The named properties of one store: maps names to identifiers (0x8000 to 0xFFFE). A mapping is never changed once it
/// has been created. Thread-safe.
class name_table
{
public:
    /// Returns the identifier of a name; 0 if it has none and `create` is false, or if no identifier is left.
    std::uint32_t id_of(const property_name& name, bool create);
    /// Returns the name of an identifier; null if it has none. The pointer is valid for the lifetime of the table.
    [[nodiscard]] const property_name* name_of(std::uint32_t id) const;
    /// Returns all identifiers that have a name.
    [[nodiscard]] std::vector<std::uint32_t> ids() const;

private:
    struct before
    {
        bool operator()(const property_name& left, const property_name& right) const;
    };

    mutable std::mutex lock_;
    std::map<property_name, std::uint32_t, before> ids_;
    std::map<std::uint32_t, property_name> names_;
};

} // namespace host
