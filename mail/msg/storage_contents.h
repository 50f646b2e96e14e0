#pragma once

#include "store/storage_tree.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace host::msg {

/// Finds the parts of a storage by name, without regard to case, and tracks which parts have not been taken. The tree
/// must outlive it.
class storage_contents
{
public:
    explicit storage_contents(const storage_tree& tree);

    /// Returns null if there is none.
    [[nodiscard]] const storage_tree::stream* find_stream(std::string_view name) const;
    const storage_tree::stream* take_stream(std::string_view name);
    const storage_tree::storage* take_storage(std::string_view name);
    /// Takes the storages whose names consist of the prefix and a number, ordered by number. Throws unreadable_message
    /// if two have the same number or a number exceeds largest_number.
    std::map<std::uint32_t, const storage_tree::storage*> take_numbered(std::string_view prefix);

    /// Returns the parts that have not been taken.
    [[nodiscard]] storage_tree rest() const;

private:
    struct place
    {
        std::size_t index;
        bool taken = false;
    };

    const storage_tree& tree_;
    std::map<std::string, place> streams_;
    std::map<std::string, place> storages_;
};

/// Builds a storage with unique names, compared without regard to case.
class storage_builder
{
public:
    [[nodiscard]] bool has(std::string_view name) const;
    /// Returns false and does nothing if the name exists.
    bool add(storage_tree::stream stream);
    bool add(storage_tree::storage storage);
    void class_id(const GUID& id) { tree_.class_id = id; }
    /// Returns the storage; the builder is empty afterwards.
    storage_ptr build();

private:
    storage_tree tree_;
    std::set<std::string> names_;
};

} // namespace host::msg
