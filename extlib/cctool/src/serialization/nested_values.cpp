#include "extlib/cctool/src/serialization/nested_values.h"

#include "extlib/cctool/src/serialization/array_impl.h"
#include "extlib/cctool/src/serialization/container_impl.h"
#include "extlib/cctool/src/serialization/tree_walk.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <stdexcept>

namespace cctool::Serialization::StlDTree::detail {

namespace {

constexpr std::size_t first_capacity = 4;

bool HasLowerTag(const Entry& left, const Entry& right) noexcept
{
    return left.tag < right.tag;
}

Entry* PlaceOf(Entry* begin, Entry* end, std::uint32_t tag) noexcept
{
    return std::lower_bound(begin, end, Entry{tag, nullptr}, HasLowerTag);
}

} // namespace

ArrayValue::ArrayValue(Arena& arena, std::size_t size)
    : arena_(arena)
    , items_(arena.MakeRoom<Value*>(size))
    , size_(size)
{
    std::fill_n(items_, size_, nullptr);
}

void ArrayValue::Assign(std::span<const Entry> read)
{
    auto* const items = arena_.MakeRoom<Value*>(read.size());
    std::transform(read.begin(), read.end(), items, [](const Entry& entry) { return entry.value; });
    items_ = items;
    size_ = read.size();
}

ArrayImpl& ArrayValue::Face()
{
    if (face_ == nullptr) {
        face_ = &arena_.Make<ArrayImpl>(*this);
    }
    return *face_;
}

std::size_t ArrayValue::SerializedSize() const
{
    return TreeSize(*this);
}

bool ArrayValue::Serialize(Writer& writer) const
{
    return WriteTree(*this, writer);
}

bool ArrayValue::Deserialize(Reader& reader)
{
    return ReadTree(*this, reader);
}

Value* ContainerValue::Find(std::uint32_t tag) const noexcept
{
    const Entry* const end = entries_ + size_;
    const Entry* const place = PlaceOf(entries_, entries_ + size_, tag);
    return place != end && place->tag == tag ? place->value : nullptr;
}

void ContainerValue::Put(std::uint32_t tag, Value& value)
{
    Entry* place = PlaceOf(entries_, entries_ + size_, tag);
    if (place != entries_ + size_ && place->tag == tag) {
        place->value = &value;
        return;
    }
    if (size_ == capacity_) {
        const std::size_t capacity = std::max(first_capacity, capacity_ * 2);
        auto* const entries = arena_.MakeRoom<Entry>(capacity);
        std::copy_n(entries_, size_, entries);
        place = entries + (place - entries_);
        entries_ = entries;
        capacity_ = capacity;
    }
    std::copy_backward(place, entries_ + size_, entries_ + size_ + 1);
    *place = {tag, &value};
    ++size_;
}

void ContainerValue::Assign(std::span<const Entry> read)
{
    auto* const entries = arena_.MakeRoom<Entry>(read.size());
    Entry* end = std::copy(read.begin(), read.end(), entries);
    const auto is_not_below = [](const Entry& left, const Entry& right) { return left.tag >= right.tag; };
    if (std::adjacent_find(entries, end, is_not_below) != end) {
        std::stable_sort(entries, end, HasLowerTag);
        // The last of a tag is the first of it from behind.
        const auto has_same_tag = [](const Entry& left, const Entry& right) { return left.tag == right.tag; };
        const auto kept =
            std::unique(std::make_reverse_iterator(end), std::make_reverse_iterator(entries), has_same_tag);
        end = std::copy(kept.base(), end, entries);
    }
    entries_ = entries;
    size_ = static_cast<std::size_t>(end - entries);
    capacity_ = size_;
}

ContainerImpl& ContainerValue::Face()
{
    if (face_ == nullptr) {
        face_ = &arena_.Make<ContainerImpl>(*this);
    }
    return *face_;
}

std::size_t ContainerValue::SerializedSize() const
{
    return TreeSize(*this);
}

bool ContainerValue::Serialize(Writer& writer) const
{
    return WriteTree(*this, writer);
}

bool ContainerValue::Deserialize(Reader& reader)
{
    return ReadTree(*this, reader);
}

} // namespace cctool::Serialization::StlDTree::detail
