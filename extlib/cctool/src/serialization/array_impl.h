#pragma once

#include "cctool/serialization/container.h"
#include "extlib/cctool/src/serialization/nested_values.h"

namespace cctool::Serialization::StlDTree {

/// The interface of an array; in the same arena.
class ArrayImpl final : public IArray
{
public:
    explicit ArrayImpl(detail::ArrayValue& node) noexcept
        : node_(node)
    {}

    [[nodiscard]] std::size_t Size() const override;

    void SetBinary(std::size_t index, const Bytes& value) override;
    void Set(std::size_t index, bool value) override;
    void Set(std::size_t index, const std::wstring& value) override;
    void Set(std::size_t index, const std::string& value) override;
    void Set(std::size_t index, std::uint64_t value) override;
    void Set(std::size_t index, std::int64_t value) override;
    void Set(std::size_t index, std::uint32_t value) override;
    void Set(std::size_t index, std::int32_t value) override;
    void Set(std::size_t index, std::uint16_t value) override;
    void Set(std::size_t index, std::int16_t value) override;
    void Set(std::size_t index, std::int8_t value) override;
    void Set(std::size_t index, std::uint8_t value) override;

    void GetBinary(std::size_t index, Bytes& value) const override;
    void Get(std::size_t index, bool& value) const override;
    void Get(std::size_t index, std::wstring& value) const override;
    void Get(std::size_t index, std::string& value) const override;
    void Get(std::size_t index, std::uint64_t& value) const override;
    void Get(std::size_t index, std::int64_t& value) const override;
    void Get(std::size_t index, std::uint32_t& value) const override;
    void Get(std::size_t index, std::int32_t& value) const override;
    void Get(std::size_t index, std::uint16_t& value) const override;
    void Get(std::size_t index, std::int16_t& value) const override;
    void Get(std::size_t index, std::int8_t& value) const override;
    void Get(std::size_t index, std::uint8_t& value) const override;

    std::shared_ptr<IArray> AddArray(std::size_t index, std::size_t size) override;
    [[nodiscard]] std::shared_ptr<IArray> GetArray(std::size_t index) override;
    [[nodiscard]] std::shared_ptr<const IArray> GetArray(std::size_t index) const override;
    std::shared_ptr<IContainer> AddContainer(std::size_t index) override;
    [[nodiscard]] std::shared_ptr<IContainer> GetContainer(std::size_t index) override;
    [[nodiscard]] std::shared_ptr<const IContainer> GetContainer(std::size_t index) const override;

private:
    template <typename Node, typename T>
    void Put(std::size_t index, const T& value);
    [[nodiscard]] detail::Value*& Slot(std::size_t index);
    template <typename Node>
    [[nodiscard]] Node& Find(std::size_t index) const;
    template <typename T>
    void GetSimple(std::size_t index, T& value) const;

    detail::ArrayValue& node_;
};

} // namespace cctool::Serialization::StlDTree
