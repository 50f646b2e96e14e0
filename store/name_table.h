#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <variant>
#include <vector>

namespace host {

/// Name of a property: a set and either a number or a string. Names differ also by the case of their letters.
struct property_name
{
    GUID set{};
    std::variant<std::int32_t, std::wstring> name;
};

/// The named properties of one store: which identifier (0x8000 to 0xFFFE) stands for which name. A mapping once made
/// stays. Any thread may ask.
class name_table
{
public:
    /// The identifier of a name; 0 when it has none and `create` is false, or when no identifier is left.
    std::uint32_t id_of(const property_name& name, bool create);
    /// The name of an identifier; null when it has none. Good as long as the table lives.
    [[nodiscard]] const property_name* name_of(std::uint32_t id) const;
    /// All identifiers that have a name.
    [[nodiscard]] std::vector<std::uint32_t> ids() const;

private:
    using key = std::tuple<std::string, bool, std::int32_t, std::wstring>;
    static key key_of(const property_name& name);

    mutable std::mutex lock_;
    std::map<key, std::uint32_t> ids_;
    std::map<std::uint32_t, property_name> names_;
};

} // namespace host
