#pragma once

#include "outlook/qdmailprotect/mapi/mapi.h"
#include "store/bytes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host {

/// Storages in one another that a file may have; readers and writers go down by recursion.
inline constexpr std::size_t deepest_storage = 512;

struct storage_tree;
using storage_ptr = std::shared_ptr<const storage_tree>;

/// A storage of a compound file with everything in it. Names are UTF-8. Contents are shared, so a copy is cheap; once
/// others hold a tree, nobody changes it.
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

    /// Bytes of all streams, those of inner storages included.
    [[nodiscard]] std::uint64_t size() const;
};

/// Whether two storages hold the same under the same names, in whatever order.
bool same_storage(const storage_tree& left, const storage_tree& right);

} // namespace host
