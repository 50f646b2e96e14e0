#include "store/name_table.h"

#include <cstring>

namespace host {

namespace {

constexpr std::uint32_t first_named = 0x8000;
constexpr std::uint32_t last_named = 0xFFFE;

} // namespace

bool name_table::before::operator()(const property_name& left, const property_name& right) const
{
    const int sets = std::memcmp(&left.set, &right.set, sizeof left.set);
    return sets != 0 ? sets < 0 : left.name < right.name;
}

std::uint32_t name_table::id_of(const property_name& name, bool create)
{
    const std::lock_guard guard(lock_);
    if (const auto found = ids_.find(name); found != ids_.end()) {
        return found->second;
    }
    const auto next = static_cast<std::uint32_t>(first_named + ids_.size());
    if (!create || next > last_named) {
        return 0;
    }
    ids_.emplace(name, next);
    names_.emplace(next, name);
    return next;
}

const property_name* name_table::name_of(std::uint32_t id) const
{
    const std::lock_guard guard(lock_);
    const auto found = names_.find(id);
    return found == names_.end() ? nullptr : &found->second;
}

std::vector<std::uint32_t> name_table::ids() const
{
    const std::lock_guard guard(lock_);
    std::vector<std::uint32_t> result;
    result.reserve(names_.size());
    for (const auto& [id, name] : names_) {
        result.push_back(id);
    }
    return result;
}

} // namespace host
