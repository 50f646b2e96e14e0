#pragma once

#include "extlib/cctool/src/serialization/arena.h"
#include "extlib/cctool/src/serialization/value.h"

#include <span>

namespace cctool::Serialization::StlDTree {

class ArrayImpl;
class ContainerImpl;

namespace detail {

/// A value and its tag, which has no meaning in an array.
struct Entry
{
    std::uint32_t tag = 0;
    Value* value = nullptr;

    Entry() = default;
    Entry(std::uint32_t of_tag, Value* of_value) noexcept
        : tag(of_tag)
        , value(of_value)
    {}
};

/// Values by index. A slot that was never set is null.
class ArrayValue final : public Value
{
public:
    static constexpr TypeCode type = TypeCode::Array;

    explicit ArrayValue(Arena& arena, std::size_t size = 0);

    [[nodiscard]] std::span<Value*> Elements() noexcept { return {items_, size_}; }
    [[nodiscard]] std::span<Value* const> Elements() const noexcept { return {items_, size_}; }
    /// Replaces the contents by the values of the entries.
    void Assign(std::span<const Entry> read);

    [[nodiscard]] Arena& Memory() const noexcept { return arena_; }
    /// Returns the array's interface.
    [[nodiscard]] ArrayImpl& Face();

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override;
    [[nodiscard]] bool Serialize(Writer& writer) const override;
    /// Throws std::length_error "vector<T> too long" for a count that exceeds any possible vector.
    [[nodiscard]] bool Deserialize(Reader& reader) override;

private:
    Arena& arena_;
    Value** items_;
    std::size_t size_;
    ArrayImpl* face_ = nullptr;
};

/// Values by tag, in ascending order. None of them is null.
class ContainerValue final : public Value
{
public:
    static constexpr TypeCode type = TypeCode::Container;

    explicit ContainerValue(Arena& arena) noexcept
        : arena_(arena)
    {}

    [[nodiscard]] std::span<const Entry> Elements() const noexcept { return {entries_, size_}; }
    /// Returns null if there is no such tag.
    [[nodiscard]] Value* Find(std::uint32_t tag) const noexcept;
    /// Sets or replaces one value.
    void Put(std::uint32_t tag, Value& value);
    /// Replaces the contents by entries in any order. Of those with the same tag, the last counts.
    void Assign(std::span<const Entry> read);

    [[nodiscard]] Arena& Memory() const noexcept { return arena_; }
    /// Returns the container's interface.
    [[nodiscard]] ContainerImpl& Face();

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override;
    [[nodiscard]] bool Serialize(Writer& writer) const override;
    /// As ArrayValue::Deserialize(); the failures may be of any depth.
    [[nodiscard]] bool Deserialize(Reader& reader) override;

private:
    Arena& arena_;
    Entry* entries_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
    ContainerImpl* face_ = nullptr;
};

} // namespace detail

} // namespace cctool::Serialization::StlDTree
