#include "extlib/cctool/src/serialization/nested_values.h"

#include "extlib/cctool/src/serialization/tree_walk.h"

#include <utility>

namespace cctool::Serialization::StlDTree::detail {

void Insides::Release(std::unique_ptr<Insides> insides) noexcept
{
    struct Waiting // trivial, so that it needs no destruction at the end of a thread
    {
        Insides* first;
        bool releasing;
    };
    thread_local Waiting waiting{};
    insides->next_.reset(std::exchange(waiting.first, nullptr));
    waiting.first = insides.release();
    if (waiting.releasing) {
        return;
    }
    waiting.releasing = true;
    while (waiting.first != nullptr) {
        const std::unique_ptr<Insides> released(waiting.first);
        waiting.first = released->next_.release();
    }
    waiting.releasing = false;
}

ArrayValue::ArrayValue(std::size_t size)
    : insides_(std::make_unique<ItemInsides>())
{
    insides_->items.resize(size);
}

ArrayValue::~ArrayValue()
{
    Insides::Release(std::move(insides_));
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
    ArrayValue fresh;
    if (!ReadTree(fresh, reader)) {
        return false;
    }
    insides_.swap(fresh.insides_);
    return true;
}

ContainerValue::ContainerValue()
    : insides_(std::make_unique<EntryInsides>())
{}

ContainerValue::~ContainerValue()
{
    Insides::Release(std::move(insides_));
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
    ContainerValue fresh;
    if (!ReadTree(fresh, reader)) {
        return false;
    }
    insides_.swap(fresh.insides_);
    return true;
}

} // namespace cctool::Serialization::StlDTree::detail
