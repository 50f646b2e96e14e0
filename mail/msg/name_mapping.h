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

/// A named property for which its file has no name keeps its number, as a name of this set.
inline constexpr GUID nameless_set{0x5F4C5B6A, 0x0D3E, 0x4C1B, {0x9A, 0x51, 0x6E, 0x2D, 0x93, 0x40, 0x7B, 0xC8}};

/// Which identifier stands for which name in one message file.
class name_mapping
{
public:
    /// Raises unreadable_message with the reason when the storage is damaged. `storage` may be null: no names.
    explicit name_mapping(storage_ptr storage);

    /// Null when the file has no name for it.
    [[nodiscard]] const property_name* name_of(std::uint32_t file_id) const;
    [[nodiscard]] const std::map<std::uint32_t, property_name>& names() const noexcept { return names_; }
    /// As the file has it.
    [[nodiscard]] const storage_ptr& storage() const noexcept { return storage_; }

private:
    storage_ptr storage_;
    std::map<std::uint32_t, property_name> names_;
};

/// Gives the names of a store identifiers in a file that is written. Those of `base`, the file that the message was
/// read from, stay; base may be null.
class name_writer
{
public:
    name_writer(const name_table& names, std::shared_ptr<const name_mapping> base);

    /// The identifier in the file. Raises std::runtime_error when none is left.
    std::uint32_t file_id(std::uint32_t store_id);
    /// The same for a property that was read as `read_as` from a file with the mapping `from`.
    std::uint32_t file_id(std::uint32_t store_id, std::uint32_t read_as, const name_mapping* from);

    /// The mapping's storage: that of `base` when nothing was added.
    [[nodiscard]] storage_ptr storage() const;

private:
    [[nodiscard]] bool stays_nameless(const property_name& name) const;
    std::uint32_t append(const property_name& name);

    const name_table& table_;
    std::shared_ptr<const name_mapping> base_;
    std::vector<property_name> names_; ///< by file identifier, from first_named on
    std::map<std::string, std::uint32_t> ids_;
    std::set<std::uint32_t> nameless_; ///< identifiers that stay without a name as long as they can
    bool added_ = false;
};

/// The identifier that stands for a string name in the mapping: a checksum of its UTF-16LE form.
std::uint32_t checksum_of_name(std::string_view utf16le);

} // namespace host::msg
