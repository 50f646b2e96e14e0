#include "service/verdict_cache.h"

#include <cstring>
#include <variant>

namespace service {

std::size_t verdict_cache::hash_of_key::operator()(const key& object) const noexcept
{
    std::size_t value = 0;
    std::memcpy(&value, object.data(), sizeof value);
    return value;
}

verdict_cache::verdict_cache(std::size_t most_entries)
    : most_entries_(most_entries)
{}

bool verdict_cache::adopt(std::uint64_t generation)
{
    if (generation > generation_) {
        places_.clear();
        entries_.clear();
        generation_ = generation;
    }
    return generation == generation_;
}

std::optional<verdict> verdict_cache::find(const key& object, std::uint64_t generation)
{
    const std::lock_guard guard(lock_);
    const auto found = adopt(generation) ? places_.find(object) : places_.end();
    if (found == places_.end()) {
        ++misses_;
        return std::nullopt;
    }
    ++hits_;
    entries_.splice(entries_.begin(), entries_, found->second);
    const entry& known = *found->second;
    return known.blocked ? verdict(blocked_verdict{known.threat}) : verdict(clean_verdict{});
}

void verdict_cache::enter(const key& object, std::uint64_t generation, const verdict& outcome)
{
    const auto* const found = std::get_if<blocked_verdict>(&outcome);
    const bool lasting =
        std::holds_alternative<clean_verdict>(outcome) || (found != nullptr && found->threat.size() <= longest_threat);
    if (!enabled() || !lasting) {
        return;
    }
    entry made{object, found != nullptr, found != nullptr ? found->threat : std::string()};
    const std::lock_guard guard(lock_);
    if (!adopt(generation)) {
        return;
    }
    if (const auto known = places_.find(object); known != places_.end()) {
        entries_.splice(entries_.begin(), entries_, known->second);
        *known->second = std::move(made);
        return;
    }
    if (places_.size() >= most_entries_) {
        places_.erase(entries_.back().object);
        entries_.pop_back();
    }
    entries_.push_front(std::move(made));
    try {
        places_.emplace(object, entries_.begin());
    } catch (...) {
        entries_.pop_front();
        throw;
    }
}

verdict_cache::statistics verdict_cache::numbers() const
{
    const std::lock_guard guard(lock_);
    return {places_.size(), hits_, misses_};
}

} // namespace service
