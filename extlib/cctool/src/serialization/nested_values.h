#pragma once

#include "extlib/cctool/src/serialization/value.h"

#include <map>
#include <vector>

namespace cctool::Serialization::StlDTree::detail {

/// The contents of an array or container. They are released one after the other instead of recursively, at any depth of
/// the tree; this needs no memory.
class Insides
{
public:
    Insides() = default;
    Insides(const Insides&) = delete;
    Insides& operator=(const Insides&) = delete;
    virtual ~Insides() = default;

    /// Releases them now or, on a thread that is already within such a call, when that call reaches them.
    static void Release(std::unique_ptr<Insides> insides) noexcept;

private:
    std::unique_ptr<Insides> next_; ///< the next contents to release
};

/// Values by index. A slot that was never set is null.
class ArrayValue final : public Value
{
public:
    static constexpr TypeCode type = TypeCode::Array;
    using Items = std::vector<ValuePtr>;

    explicit ArrayValue(std::size_t size = 0);
    ~ArrayValue() override;

    [[nodiscard]] Items& Elements() noexcept { return insides_->items; }
    [[nodiscard]] const Items& Elements() const noexcept { return insides_->items; }

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override;
    [[nodiscard]] bool Serialize(Writer& writer) const override;
    /// Throws std::length_error "vector<T> too long" for a count that exceeds any possible vector.
    [[nodiscard]] bool Deserialize(Reader& reader) override;

private:
    struct ItemInsides final : Insides
    {
        Items items;
    };
    std::unique_ptr<ItemInsides> insides_;
};

/// Values by tag, in ascending order. None of them is null.
class ContainerValue final : public Value
{
public:
    static constexpr TypeCode type = TypeCode::Container;
    using Entries = std::map<std::uint32_t, ValuePtr>;

    ContainerValue();
    ~ContainerValue() override;

    [[nodiscard]] Entries& Elements() noexcept { return insides_->entries; }
    [[nodiscard]] const Entries& Elements() const noexcept { return insides_->entries; }

    [[nodiscard]] TypeCode Type() const noexcept override { return type; }
    [[nodiscard]] std::size_t SerializedSize() const override;
    [[nodiscard]] bool Serialize(Writer& writer) const override;
    /// As ArrayValue::Deserialize(); the failures may be of any depth.
    [[nodiscard]] bool Deserialize(Reader& reader) override;

private:
    struct EntryInsides final : Insides
    {
        Entries entries;
    };
    std::unique_ptr<EntryInsides> insides_;
};

} // namespace cctool::Serialization::StlDTree::detail
