#pragma once

#include "cctool/serialization/tag_id.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// The tree of tagged values that contains settings for transport. A container maps numeric tags to typed values; a
/// value may itself be an array or a container. A returned array or container shares the node and outlives its parent.
/// A tree must be used by one thread at a time; any thread may release it. All memory of a tree is released together,
/// when nothing that was returned is left of it: values that were replaced keep theirs until then, and remain parts of
/// the tree for the use by threads.
///
/// A setter replaces an existing value of any type. A getter requires the exact type that was set: there is no
/// conversion between widths or signs. It throws ContainerElementAccessError or ArrayElementAccessError with
/// AccessFailure::NotFound or AccessFailure::InvalidType, and does not change its out-parameter then.
namespace cctool::Serialization {

using Bytes = std::vector<std::uint8_t>;
using VersionPair = std::pair<std::uint16_t, std::uint16_t>; ///< major, minor

class IContainer;

/// Values by index. An index at or above the size is an error of the caller, with the same result as an empty slot.
class IArray
{
public:
    virtual ~IArray() = default;
    [[nodiscard]] virtual std::size_t Size() const = 0;

    virtual void SetBinary(std::size_t index, const Bytes& value) = 0;
    virtual void Set(std::size_t index, bool value) = 0;
    virtual void Set(std::size_t index, const std::wstring& value) = 0;
    virtual void Set(std::size_t index, const std::string& value) = 0;
    virtual void Set(std::size_t index, std::uint64_t value) = 0;
    virtual void Set(std::size_t index, std::int64_t value) = 0;
    virtual void Set(std::size_t index, std::uint32_t value) = 0;
    virtual void Set(std::size_t index, std::int32_t value) = 0;
    virtual void Set(std::size_t index, std::uint16_t value) = 0;
    virtual void Set(std::size_t index, std::int16_t value) = 0;
    virtual void Set(std::size_t index, std::int8_t value) = 0;
    virtual void Set(std::size_t index, std::uint8_t value) = 0;
    void Set(std::size_t index, const void* value) = delete; ///< a literal would be converted to bool

    virtual void GetBinary(std::size_t index, Bytes& value) const = 0;
    virtual void Get(std::size_t index, bool& value) const = 0;
    virtual void Get(std::size_t index, std::wstring& value) const = 0;
    virtual void Get(std::size_t index, std::string& value) const = 0;
    virtual void Get(std::size_t index, std::uint64_t& value) const = 0;
    virtual void Get(std::size_t index, std::int64_t& value) const = 0;
    virtual void Get(std::size_t index, std::uint32_t& value) const = 0;
    virtual void Get(std::size_t index, std::int32_t& value) const = 0;
    virtual void Get(std::size_t index, std::uint16_t& value) const = 0;
    virtual void Get(std::size_t index, std::int16_t& value) const = 0;
    virtual void Get(std::size_t index, std::int8_t& value) const = 0;
    virtual void Get(std::size_t index, std::uint8_t& value) const = 0;

    virtual std::shared_ptr<IArray> AddArray(std::size_t index, std::size_t size) = 0;
    [[nodiscard]] virtual std::shared_ptr<IArray> GetArray(std::size_t index) = 0;
    [[nodiscard]] virtual std::shared_ptr<const IArray> GetArray(std::size_t index) const = 0;
    virtual std::shared_ptr<IContainer> AddContainer(std::size_t index) = 0;
    [[nodiscard]] virtual std::shared_ptr<IContainer> GetContainer(std::size_t index) = 0;
    [[nodiscard]] virtual std::shared_ptr<const IContainer> GetContainer(std::size_t index) const = 0;
};

/// Values by tag.
class IContainer
{
public:
    virtual ~IContainer() = default;
    [[nodiscard]] virtual bool HasElement(std::uint32_t id) const = 0;

    virtual void SetBinary(std::uint32_t id, const Bytes& value) = 0;
    virtual void Set(std::uint32_t id, bool value) = 0;
    virtual void Set(std::uint32_t id, const std::wstring& value) = 0;
    virtual void Set(std::uint32_t id, const std::string& value) = 0;
    virtual void Set(std::uint32_t id, std::uint64_t value) = 0;
    virtual void Set(std::uint32_t id, std::int64_t value) = 0;
    virtual void Set(std::uint32_t id, std::uint32_t value) = 0;
    virtual void Set(std::uint32_t id, std::int32_t value) = 0;
    virtual void Set(std::uint32_t id, std::uint16_t value) = 0;
    virtual void Set(std::uint32_t id, std::int16_t value) = 0;
    virtual void Set(std::uint32_t id, std::int8_t value) = 0;
    virtual void Set(std::uint32_t id, std::uint8_t value) = 0;
    /// An array of two unsigned 16-bit values.
    virtual void SetVersion(const TagId& tag, const VersionPair& version) = 0;
    void Set(std::uint32_t id, const void* value) = delete; ///< a literal would be converted to bool

    virtual void GetBinary(const TagId& tag, Bytes& value) const = 0;
    virtual void Get(const TagId& tag, bool& value) const = 0;
    virtual void Get(const TagId& tag, std::wstring& value) const = 0;
    virtual void Get(const TagId& tag, std::string& value) const = 0;
    virtual void Get(const TagId& tag, std::uint64_t& value) const = 0;
    virtual void Get(const TagId& tag, std::int64_t& value) const = 0;
    virtual void Get(const TagId& tag, std::uint32_t& value) const = 0;
    virtual void Get(const TagId& tag, std::int32_t& value) const = 0;
    virtual void Get(const TagId& tag, std::uint16_t& value) const = 0;
    virtual void Get(const TagId& tag, std::int16_t& value) const = 0;
    virtual void Get(const TagId& tag, std::int8_t& value) const = 0;
    virtual void Get(const TagId& tag, std::uint8_t& value) const = 0;
    virtual void GetVersion(const TagId& tag, VersionPair& version) const = 0;

    /// Adds an array of `size` empty slots. Each slot must be filled, or the tree cannot be serialised.
    virtual std::shared_ptr<IArray> AddArray(std::uint32_t id, std::size_t size) = 0;
    [[nodiscard]] virtual std::shared_ptr<IArray> GetArray(const TagId& tag) = 0;
    [[nodiscard]] virtual std::shared_ptr<const IArray> GetArray(const TagId& tag) const = 0;
    virtual std::shared_ptr<IContainer> AddContainer(std::uint32_t id) = 0;
    [[nodiscard]] virtual std::shared_ptr<IContainer> GetContainer(const TagId& tag) = 0;
    [[nodiscard]] virtual std::shared_ptr<const IContainer> GetContainer(const TagId& tag) const = 0;
};

/// An object that can be serialised.
class IGetBinarySupport
{
public:
    virtual ~IGetBinarySupport() = default;
    /// With `append`, adds the serialised form to the end of `bytes`, whose capacity is first raised to the exact final
    /// size; without it, replaces `bytes`. Returns false and does not change `bytes` if the tree has an empty slot.
    [[nodiscard]] virtual bool GetBlob(Bytes& bytes, bool append) const = 0;
};

/// The union of some interfaces.
template <typename... Interfaces>
class IExtendedContainer : public Interfaces...
{};

using IBinaryContainer = IExtendedContainer<IGetBinarySupport, IContainer>;

/// Reads the serialised form of one container; bytes behind it are ignored. Only memory limits the nesting. Throws
/// InvalidDataError for bytes that are not a container, std::length_error "vector<T> too long" for an array whose count
/// exceeds any possible memory, and std::bad_alloc.
[[nodiscard]] std::shared_ptr<IBinaryContainer> ContainerFromBinary(const void* data, std::size_t size);

[[nodiscard]] std::shared_ptr<IBinaryContainer> CreateEmptyContainer();

} // namespace cctool::Serialization
