#include "store/property_bag.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

namespace host {

std::size_t stream_state::read(std::uint64_t offset, void* destination, std::size_t count) const
{
    return edited_ ? edited_->read(offset, destination, count) : base_->read(offset, destination, count);
}

void stream_state::write(std::uint64_t offset, const void* source, std::size_t count)
{
    edit().write(offset, source, count);
}

void stream_state::resize(std::uint64_t size)
{
    if (size == 0) {
        edited_ = std::make_unique<scratch>();
        return;
    }
    edit().resize(size);
}

bytes_ptr stream_state::freeze()
{
    if (edited_) {
        base_ = edited_->freeze();
        edited_.reset();
    }
    return base_;
}

scratch& stream_state::edit()
{
    if (!edited_) {
        auto copy = std::make_unique<scratch>();
        std::array<char, 65536> block{};
        for (std::uint64_t offset = 0; offset < base_->size();) {
            const std::size_t got = base_->read(offset, block.data(), block.size());
            if (got == 0) {
                throw std::runtime_error("a property could not be read");
            }
            copy->write(offset, block.data(), got);
            offset += got;
        }
        edited_ = std::move(copy);
    }
    return *edited_;
}

property_bag::property_bag(const property_bag& other)
    : origin_(other.origin_)
{
    entries_.reserve(other.entries_.size());
    for (entry& source : other.entries_) {
        settle(source);
        entries_.push_back({source.id, source.value, nullptr});
    }
}

void property_bag::settle(entry& target)
{
    if (!target.written) {
        return;
    }
    property_value seen = from_stream_bytes(target.written->type(), target.written->freeze());
    // The property keeps its stored type, and narrow text its code page.
    if (seen.type == PT_STRING8 && target.value.type == PT_STRING8) {
        seen.code_page = target.value.code_page;
    } else if (is_string(target.value.type)) {
        seen = convert_string(seen, target.value.type, target.value.code_page);
    }
    target.value = std::move(seen);
    target.written = nullptr; // released last: if the conversion fails, the data is not lost
}

void property_bag::settle_all() const
{
    std::for_each(entries_.begin(), entries_.end(), settle);
}

std::vector<property_bag::entry>::iterator property_bag::place_of(std::uint32_t id) const
{
    return std::lower_bound(entries_.begin(), entries_.end(), id,
                            [](const entry& one, std::uint32_t wanted) { return one.id < wanted; });
}

const property_value* property_bag::find(std::uint32_t id) const
{
    const auto found = place_of(id);
    if (!is_at(found, id)) {
        return nullptr;
    }
    settle(*found);
    return &found->value;
}

void property_bag::set(std::uint32_t tag, property_value value)
{
    const std::uint32_t id = PROP_ID(tag);
    const auto place = place_of(id);
    entry made{id, std::move(value), nullptr};
    if (is_at(place, id)) {
        *place = std::move(made);
    } else {
        entries_.insert(place, std::move(made));
    }
}

bool property_bag::erase(std::uint32_t id)
{
    const auto found = place_of(id);
    if (!is_at(found, id)) {
        return false;
    }
    entries_.erase(found);
    return true;
}

std::vector<std::uint32_t> property_bag::tags() const
{
    std::vector<std::uint32_t> result;
    result.reserve(entries_.size());
    for (const entry& one : entries_) {
        result.push_back(PROP_TAG(one.value.type, one.id));
    }
    return result;
}

void property_bag::follow(std::uint32_t id, std::shared_ptr<stream_state> stream)
{
    auto place = place_of(id);
    if (!is_at(place, id)) {
        place = entries_.insert(place, entry{id, {}, nullptr});
    }
    entry& target = *place;
    if (target.value.type == PT_NULL) {
        target.value.type = stream->type();
    }
    if (target.written != stream) {
        settle(target);
        target.written = std::move(stream);
    }
}

} // namespace host
