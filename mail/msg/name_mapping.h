#pragma once

#include "store/name_table.h"
#include "store/storage_tree.h"

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace host::msg {

/// The set of named properties for which their file has no name. Such a property keeps its number as a name of this
/// set.
inline constexpr GUID nameless_set{0x5F4C5B6A, 0x0D3E, 0x4C1B, {0x9A, 0x51, 0x6E, 0x2D, 0x93, 0x40, 0x7B, 0xC8}};

/// Maps the identifiers of named properties in one message file to names.
class name_mapping
{
public:
    /// Throws unreadable_message with the reason if the storage is damaged. `storage` may be null: no names.
    explicit name_mapping(storage_ptr storage);

    /// Returns null if the file has no name for the identifier.
    [[nodiscard]] const property_name* name_of(std::uint32_t file_id) const;
    [[nodiscard]] const std::map<std::uint32_t, property_name>& names() const noexcept { return names_; }
    /// Returns the storage as read from the file.
    [[nodiscard]] const storage_ptr& storage() const noexcept { return storage_; }

private:
    storage_ptr storage_;
    std::map<std::uint32_t, property_name> names_;
};

/// Assigns identifiers in a new file to the names of a store. The identifiers of `base`, the file that the message was
/// read from, are preserved; base may be null.
class name_writer
{
public:
    name_writer(const name_table& names, std::shared_ptr<const name_mapping> base);

    /// Returns the identifier in the file. Throws std::runtime_error if none is left.
    std::uint32_t file_id(std::uint32_t store_id);
    /// Returns the identifier of a property that was read as `read_as` from a file with the mapping `from`.
    std::uint32_t file_id(std::uint32_t store_id, std::uint32_t read_as, const name_mapping* from);

    /// Returns the mapping's storage, which is that of `base` if nothing was added.
    [[nodiscard]] storage_ptr storage() const;

private:
    [[nodiscard]] bool stays_nameless(const property_name& name) const;
    std::uint32_t append(const property_name& name);

    const name_table& table_;
    std::shared_ptr<const name_mapping> base_;
    std::vector<property_name> names_; ///< by file identifier, starting at first_named
    std::map<std::string, std::uint32_t> ids_;
    std::set<std::uint32_t> nameless_; ///< identifiers that remain without a name as long as possible
    bool added_ = false;
};

/// Returns the checksum of the UTF-16LE form of a string name, which identifies the name in the mapping.
std::uint32_t checksum_of_name(std::string_view utf16le);

} // namespace host::msg
