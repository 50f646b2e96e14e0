#pragma once

#include "store/storage_tree.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace host::msg {

/// Looks for the parts of a storage by name, whatever the case of its letters, and knows which ones nobody took.
/// The tree outlives it.
class storage_contents
{
public:
    explicit storage_contents(const storage_tree& tree);

    /// Null when there is none.
    [[nodiscard]] const storage_tree::stream* find_stream(std::string_view name) const;
    const storage_tree::stream* take_stream(std::string_view name);
    const storage_tree::storage* take_storage(std::string_view name);
    /// Takes the storages that are named by the prefix and a number, by number. Raises unreadable_message when two have
    /// the same number, or one has a number beyond largest_number.
    std::map<std::uint32_t, const storage_tree::storage*> take_numbered(std::string_view prefix);

    /// What nobody took.
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

/// Puts a storage together; each name, whatever the case of its letters, is there once.
class storage_builder
{
public:
    [[nodiscard]] bool has(std::string_view name) const;
    /// False, and nothing done, when the name is taken.
    bool add(storage_tree::stream stream);
    bool add(storage_tree::storage storage);
    void class_id(const GUID& id) { tree_.class_id = id; }
    /// The storage; the builder is empty afterwards.
    storage_ptr build();

private:
    storage_tree tree_;
    std::set<std::string> names_;
};

} // namespace host::msg
