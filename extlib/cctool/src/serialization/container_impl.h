#pragma once

#include "cctool/serialization/container.h"
#include "extlib/cctool/src/serialization/nested_values.h"

namespace cctool::Serialization::StlDTree {

/// The interface of a container; in the same arena.
class ContainerImpl final : public IBinaryContainer
{
public:
    explicit ContainerImpl(detail::ContainerValue& node) noexcept
        : node_(node)
    {}

    [[nodiscard]] bool HasElement(std::uint32_t id) const override;

    void SetBinary(std::uint32_t id, const Bytes& value) override;
    void Set(std::uint32_t id, bool value) override;
    void Set(std::uint32_t id, const std::wstring& value) override;
    void Set(std::uint32_t id, const std::string& value) override;
    void Set(std::uint32_t id, std::uint64_t value) override;
    void Set(std::uint32_t id, std::int64_t value) override;
    void Set(std::uint32_t id, std::uint32_t value) override;
    void Set(std::uint32_t id, std::int32_t value) override;
    void Set(std::uint32_t id, std::uint16_t value) override;
    void Set(std::uint32_t id, std::int16_t value) override;
    void Set(std::uint32_t id, std::int8_t value) override;
    void Set(std::uint32_t id, std::uint8_t value) override;
    void SetVersion(const TagId& tag, const VersionPair& version) override;

    void GetBinary(const TagId& tag, Bytes& value) const override;
    void Get(const TagId& tag, bool& value) const override;
    void Get(const TagId& tag, std::wstring& value) const override;
    void Get(const TagId& tag, std::string& value) const override;
    void Get(const TagId& tag, std::uint64_t& value) const override;
    void Get(const TagId& tag, std::int64_t& value) const override;
    void Get(const TagId& tag, std::uint32_t& value) const override;
    void Get(const TagId& tag, std::int32_t& value) const override;
    void Get(const TagId& tag, std::uint16_t& value) const override;
    void Get(const TagId& tag, std::int16_t& value) const override;
    void Get(const TagId& tag, std::int8_t& value) const override;
    void Get(const TagId& tag, std::uint8_t& value) const override;
    void GetVersion(const TagId& tag, VersionPair& version) const override;

    std::shared_ptr<IArray> AddArray(std::uint32_t id, std::size_t size) override;
    [[nodiscard]] std::shared_ptr<IArray> GetArray(const TagId& tag) override;
    [[nodiscard]] std::shared_ptr<const IArray> GetArray(const TagId& tag) const override;
    std::shared_ptr<IContainer> AddContainer(std::uint32_t id) override;
    [[nodiscard]] std::shared_ptr<IContainer> GetContainer(const TagId& tag) override;
    [[nodiscard]] std::shared_ptr<const IContainer> GetContainer(const TagId& tag) const override;

    [[nodiscard]] bool GetBlob(Bytes& bytes, bool append) const override;

private:
    template <typename Node, typename T>
    void Put(std::uint32_t id, const T& value);
    template <typename Node>
    [[nodiscard]] Node& Find(const TagId& tag) const;
    template <typename T>
    void GetSimple(const TagId& tag, T& value) const;

    detail::ContainerValue& node_;
};

} // namespace cctool::Serialization::StlDTree
