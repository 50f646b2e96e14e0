#include "extlib/cctool/src/serialization/container_impl.h"

#include "cctool/serialization/errors.h"
#include "extlib/cctool/src/serialization/array_impl.h"
#include "extlib/cctool/src/serialization/simple_values.h"

#include <utility>

namespace cctool::Serialization::StlDTree {

using detail::ArrayValue;
using detail::BinaryValue;
using detail::ContainerValue;
using detail::SimpleValueImpl;
using detail::StringValueImpl;
using detail::Value;

namespace {

constexpr const char* container_source = "extlib\\cctool\\src\\serialization\\container_impl";

[[noreturn]] void Refuse(const TagId& tag, AccessFailure reason, std::uint32_t line)
{
    throw ContainerElementAccessError(tag, reason, {container_source, line});
}

/// Space appended to some bytes, which is removed again unless it is kept.
class AddedBytes
{
public:
    AddedBytes(Bytes& bytes, std::size_t added)
        : bytes_(bytes)
        , before_(bytes.size())
        , kept_(before_)
    {
        bytes.reserve(before_ + added); // not more: growth by resize() would round up
        bytes.resize(before_ + added);
    }
    AddedBytes(const AddedBytes&) = delete;
    AddedBytes& operator=(const AddedBytes&) = delete;
    ~AddedBytes() { bytes_.resize(kept_); }

    [[nodiscard]] std::uint8_t* Begin() noexcept { return bytes_.data() + before_; }
    void Keep() noexcept { kept_ = bytes_.size(); }

private:
    Bytes& bytes_;
    std::size_t before_;
    std::size_t kept_;
};

} // namespace

bool ContainerImpl::HasElement(std::uint32_t id) const
{
    return node_.Find(id) != nullptr;
}

template <typename Node, typename T>
void ContainerImpl::Put(std::uint32_t id, const T& value)
{
    node_.Put(id, node_.Memory().Make<Node>(node_.Memory(), value));
}

template <typename Node>
Node& ContainerImpl::Find(const TagId& tag) const
{
    Value* const found = node_.Find(tag.id);
    if (found == nullptr) {
        Refuse(tag, AccessFailure::NotFound, __LINE__);
    }
    if (found->Type() != Node::type) {
        Refuse(tag, AccessFailure::InvalidType, __LINE__);
    }
    return static_cast<Node&>(*found);
}

template <typename T>
void ContainerImpl::GetSimple(const TagId& tag, T& value) const
{
    value = Find<SimpleValueImpl<T>>(tag).Get();
}

void ContainerImpl::SetBinary(std::uint32_t id, const Bytes& value)
{
    Put<BinaryValue>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, bool value)
{
    Put<SimpleValueImpl<bool>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, const std::wstring& value)
{
    Put<StringValueImpl<wchar_t>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, const std::string& value)
{
    Put<StringValueImpl<char>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, std::uint64_t value)
{
    Put<SimpleValueImpl<std::uint64_t>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, std::int64_t value)
{
    Put<SimpleValueImpl<std::int64_t>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, std::uint32_t value)
{
    Put<SimpleValueImpl<std::uint32_t>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, std::int32_t value)
{
    Put<SimpleValueImpl<std::int32_t>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, std::uint16_t value)
{
    Put<SimpleValueImpl<std::uint16_t>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, std::int16_t value)
{
    Put<SimpleValueImpl<std::int16_t>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, std::int8_t value)
{
    Put<SimpleValueImpl<std::int8_t>>(id, value);
}

void ContainerImpl::Set(std::uint32_t id, std::uint8_t value)
{
    Put<SimpleValueImpl<std::uint8_t>>(id, value);
}

void ContainerImpl::SetVersion(const TagId& tag, const VersionPair& version)
{
    const auto pair = AddArray(tag.id, 2);
    pair->Set(0, version.first);
    pair->Set(1, version.second);
}

void ContainerImpl::GetBinary(const TagId& tag, Bytes& value) const
{
    value = Find<BinaryValue>(tag).Get();
}

void ContainerImpl::Get(const TagId& tag, bool& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::Get(const TagId& tag, std::wstring& value) const
{
    value = Find<StringValueImpl<wchar_t>>(tag).Get();
}

void ContainerImpl::Get(const TagId& tag, std::string& value) const
{
    value = Find<StringValueImpl<char>>(tag).Get();
}

void ContainerImpl::Get(const TagId& tag, std::uint64_t& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::Get(const TagId& tag, std::int64_t& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::Get(const TagId& tag, std::uint32_t& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::Get(const TagId& tag, std::int32_t& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::Get(const TagId& tag, std::uint16_t& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::Get(const TagId& tag, std::int16_t& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::Get(const TagId& tag, std::int8_t& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::Get(const TagId& tag, std::uint8_t& value) const
{
    GetSimple(tag, value);
}

void ContainerImpl::GetVersion(const TagId& tag, VersionPair& version) const
{
    const auto pair = GetArray(tag);
    VersionPair read;
    pair->Get(0, read.first);
    pair->Get(1, read.second);
    version = read;
}

std::shared_ptr<IArray> ContainerImpl::AddArray(std::uint32_t id, std::size_t size)
{
    detail::Arena& arena = node_.Memory();
    auto& node = arena.Make<ArrayValue>(arena, size);
    auto array = arena.Share<IArray>(node.Face());
    node_.Put(id, node);
    return array;
}

std::shared_ptr<IArray> ContainerImpl::GetArray(const TagId& tag)
{
    return node_.Memory().Share<IArray>(Find<ArrayValue>(tag).Face());
}

std::shared_ptr<const IArray> ContainerImpl::GetArray(const TagId& tag) const
{
    return node_.Memory().Share<const IArray>(Find<ArrayValue>(tag).Face());
}

std::shared_ptr<IContainer> ContainerImpl::AddContainer(std::uint32_t id)
{
    detail::Arena& arena = node_.Memory();
    auto& node = arena.Make<ContainerValue>(arena);
    auto container = arena.Share<IContainer>(node.Face());
    node_.Put(id, node);
    return container;
}

std::shared_ptr<IContainer> ContainerImpl::GetContainer(const TagId& tag)
{
    return node_.Memory().Share<IContainer>(Find<ContainerValue>(tag).Face());
}

std::shared_ptr<const IContainer> ContainerImpl::GetContainer(const TagId& tag) const
{
    return node_.Memory().Share<const IContainer>(Find<ContainerValue>(tag).Face());
}

bool ContainerImpl::GetBlob(Bytes& bytes, bool append) const
{
    const std::size_t size = node_.SerializedSize();
    if (!append) {
        Bytes written(size);
        detail::Writer writer(written.data(), size);
        if (!node_.Serialize(writer)) {
            return false;
        }
        bytes.swap(written);
        return true;
    }
    AddedBytes added(bytes, size);
    detail::Writer writer(added.Begin(), size);
    if (!node_.Serialize(writer)) {
        return false;
    }
    added.Keep();
    return true;
}

} // namespace cctool::Serialization::StlDTree

namespace cctool::Serialization {

std::shared_ptr<IBinaryContainer> ContainerFromBinary(const void* data, std::size_t size)
{
    StlDTree::detail::Reader reader(data, size);
    const auto arena = std::make_shared<StlDTree::detail::Arena>();
    auto& node = arena->Make<StlDTree::ContainerValue>(*arena);
    if (!node.Deserialize(reader)) {
        throw InvalidDataError({StlDTree::container_source, __LINE__});
    }
    return arena->Share<IBinaryContainer>(node.Face());
}

std::shared_ptr<IBinaryContainer> CreateEmptyContainer()
{
    const auto arena = std::make_shared<StlDTree::detail::Arena>();
    return arena->Share<IBinaryContainer>(arena->Make<StlDTree::ContainerValue>(*arena).Face());
}

} // namespace cctool::Serialization
