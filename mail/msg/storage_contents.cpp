#include "mail/msg/storage_contents.h"

#include "mail/msg/layout.h"
#include "store/unreadable_message.h"

#include <utility>

namespace host::msg {

storage_contents::storage_contents(const storage_tree& tree)
    : tree_(tree)
{
    for (std::size_t i = 0; i < tree.streams.size(); ++i) {
        streams_.emplace(folded(tree.streams[i].name), place{i});
    }
    for (std::size_t i = 0; i < tree.storages.size(); ++i) {
        storages_.emplace(folded(tree.storages[i].name), place{i});
    }
}

const storage_tree::stream* storage_contents::find_stream(std::string_view name) const
{
    const auto found = streams_.find(folded(name));
    return found == streams_.end() ? nullptr : &tree_.streams[found->second.index];
}

const storage_tree::stream* storage_contents::take_stream(std::string_view name)
{
    const auto found = streams_.find(folded(name));
    if (found == streams_.end()) {
        return nullptr;
    }
    found->second.taken = true;
    return &tree_.streams[found->second.index];
}

const storage_tree::storage* storage_contents::take_storage(std::string_view name)
{
    const auto found = storages_.find(folded(name));
    if (found == storages_.end()) {
        return nullptr;
    }
    found->second.taken = true;
    return &tree_.storages[found->second.index];
}

std::map<std::uint32_t, const storage_tree::storage*> storage_contents::take_numbered(std::string_view prefix)
{
    std::map<std::uint32_t, const storage_tree::storage*> result;
    for (auto& [name, at] : storages_) {
        const auto number = number_of(name, prefix);
        if (number) {
            at.taken = true;
            if (*number > largest_number || !result.emplace(*number, &tree_.storages[at.index]).second) {
                throw unreadable_message("its table of contents is damaged");
            }
        }
    }
    return result;
}

storage_tree storage_contents::rest() const
{
    storage_tree result;
    for (const auto& [name, at] : streams_) {
        if (!at.taken) {
            result.streams.push_back(tree_.streams[at.index]);
        }
    }
    for (const auto& [name, at] : storages_) {
        if (!at.taken) {
            result.storages.push_back(tree_.storages[at.index]);
        }
    }
    return result;
}

bool storage_builder::has(std::string_view name) const
{
    return names_.contains(folded(name));
}

bool storage_builder::add(storage_tree::stream stream)
{
    if (!names_.insert(folded(stream.name)).second) {
        return false;
    }
    tree_.streams.push_back(std::move(stream));
    return true;
}

bool storage_builder::add(storage_tree::storage storage)
{
    if (!names_.insert(folded(storage.name)).second) {
        return false;
    }
    tree_.storages.push_back(std::move(storage));
    return true;
}

storage_ptr storage_builder::build()
{
    names_.clear();
    return std::make_shared<const storage_tree>(std::exchange(tree_, {}));
}

} // namespace host::msg
