#include "store/storage_tree.h"

#include <algorithm>

namespace host {

namespace {

template <typename Child>
const Child* find_child(const std::vector<Child>& children, const std::string& name)
{
    const auto found = std::find_if(children.begin(), children.end(), [&](const auto& c) { return c.name == name; });
    return found == children.end() ? nullptr : &*found;
}

} // namespace

std::uint64_t storage_tree::size() const
{
    std::uint64_t sum = 0;
    for (const auto& child : streams) {
        sum += child.contents->size();
    }
    for (const auto& child : storages) {
        sum += child.contents->size();
    }
    return sum;
}

bool same_storage(const storage_tree& left, const storage_tree& right)
{
    if (&left == &right) {
        return true;
    }
    if (!(left.class_id == right.class_id) || left.streams.size() != right.streams.size() ||
        left.storages.size() != right.storages.size()) {
        return false;
    }
    return std::all_of(left.streams.begin(), left.streams.end(),
                       [&](const auto& child) {
                           const auto* other = find_child(right.streams, child.name);
                           return other && same_bytes(child.contents, other->contents);
                       }) &&
           std::all_of(left.storages.begin(), left.storages.end(), [&](const auto& child) {
               const auto* other = find_child(right.storages, child.name);
               return other && same_storage(*child.contents, *other->contents);
           });
}

} // namespace host
