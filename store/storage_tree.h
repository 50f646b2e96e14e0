#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"
#include "store/bytes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host {

/// The maximum nesting depth of storages in a file; readers and writers are recursive.
inline constexpr std::size_t deepest_storage = 512;

struct storage_tree;
using storage_ptr = std::shared_ptr<const storage_tree>;

/// A storage of a compound file with all its contents. Names are UTF-8. Contents are shared, so a copy is cheap. A
/// shared tree must not be modified.
struct storage_tree
{
    struct stream
    {
        std::string name;
        bytes_ptr contents;
    };
    struct storage
    {
        std::string name;
        storage_ptr contents;
    };

    GUID class_id{};
    std::vector<stream> streams;
    std::vector<storage> storages;

    /// Returns the size of all streams in bytes, including those of nested storages.
    [[nodiscard]] std::uint64_t size() const;
};

/// Returns true if two storages contain the same data under the same names, in any order.
bool same_storage(const storage_tree& left, const storage_tree& right);

} // namespace host
