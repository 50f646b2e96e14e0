#include "store/property_bag.h"

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
    for (auto& [id, source] : other.entries_) {
        settle(source);
        entries_.emplace(id, entry{source.value, nullptr});
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

const property_value* property_bag::find(std::uint32_t id) const
{
    const auto found = entries_.find(id);
    if (found == entries_.end()) {
        return nullptr;
    }
    settle(found->second);
    return &found->second.value;
}

void property_bag::set(std::uint32_t tag, property_value value)
{
    entries_.insert_or_assign(PROP_ID(tag), entry{std::move(value), nullptr});
}

bool property_bag::erase(std::uint32_t id)
{
    return entries_.erase(id) != 0;
}

std::vector<std::uint32_t> property_bag::tags() const
{
    std::vector<std::uint32_t> result;
    result.reserve(entries_.size());
    for (const auto& [id, item] : entries_) {
        result.push_back(PROP_TAG(item.value.type, id));
    }
    return result;
}

void property_bag::follow(std::uint32_t id, std::shared_ptr<stream_state> stream)
{
    auto& target = entries_[id];
    if (target.value.type == PT_NULL) {
        target.value.type = stream->type();
    }
    if (target.written != stream) {
        settle(target);
        target.written = std::move(stream);
    }
}

} // namespace host
