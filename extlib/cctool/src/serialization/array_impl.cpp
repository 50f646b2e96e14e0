#include "extlib/cctool/src/serialization/array_impl.h"

#include "cctool/serialization/errors.h"
#include "extlib/cctool/src/serialization/container_impl.h"
#include "extlib/cctool/src/serialization/simple_values.h"

#include <utility>

namespace cctool::Serialization::StlDTree {

using detail::ArrayValue;
using detail::BinaryValue;
using detail::ContainerValue;
using detail::SimpleValueImpl;
using detail::StringValueImpl;
using detail::ValuePtr;

namespace {

constexpr const char* array_source = "extlib\\cctool\\src\\serialization\\array_impl";

[[noreturn]] void Refuse(std::size_t index, AccessFailure reason, std::uint32_t line)
{
    throw ArrayElementAccessError(index, reason, {array_source, line});
}

} // namespace

ArrayImpl::ArrayImpl(std::shared_ptr<ArrayValue> node) noexcept
    : node_(std::move(node))
{}

std::size_t ArrayImpl::Size() const
{
    return node_->Elements().size();
}

ValuePtr& ArrayImpl::Slot(std::size_t index)
{
    if (index >= node_->Elements().size()) {
        Refuse(index, AccessFailure::NotFound, __LINE__);
    }
    return node_->Elements()[index];
}

template <typename Node, typename T>
void ArrayImpl::Put(std::size_t index, const T& value)
{
    Slot(index) = std::make_shared<Node>(value);
}

template <typename Node>
std::shared_ptr<Node> ArrayImpl::Find(std::size_t index) const
{
    const ArrayValue::Items& items = node_->Elements();
    if (index >= items.size() || items[index] == nullptr) {
        Refuse(index, AccessFailure::NotFound, __LINE__);
    }
    if (items[index]->Type() != Node::type) {
        Refuse(index, AccessFailure::InvalidType, __LINE__);
    }
    return std::static_pointer_cast<Node>(items[index]);
}

template <typename T>
void ArrayImpl::GetSimple(std::size_t index, T& value) const
{
    value = Find<SimpleValueImpl<T>>(index)->Get();
}

void ArrayImpl::SetBinary(std::size_t index, const Bytes& value)
{
    Put<BinaryValue>(index, value);
}

void ArrayImpl::Set(std::size_t index, bool value)
{
    Put<SimpleValueImpl<bool>>(index, value);
}

void ArrayImpl::Set(std::size_t index, const std::wstring& value)
{
    Put<StringValueImpl<wchar_t>>(index, value);
}

void ArrayImpl::Set(std::size_t index, const std::string& value)
{
    Put<StringValueImpl<char>>(index, value);
}

void ArrayImpl::Set(std::size_t index, std::uint64_t value)
{
    Put<SimpleValueImpl<std::uint64_t>>(index, value);
}

void ArrayImpl::Set(std::size_t index, std::int64_t value)
{
    Put<SimpleValueImpl<std::int64_t>>(index, value);
}

void ArrayImpl::Set(std::size_t index, std::uint32_t value)
{
    Put<SimpleValueImpl<std::uint32_t>>(index, value);
}

void ArrayImpl::Set(std::size_t index, std::int32_t value)
{
    Put<SimpleValueImpl<std::int32_t>>(index, value);
}

void ArrayImpl::Set(std::size_t index, std::uint16_t value)
{
    Put<SimpleValueImpl<std::uint16_t>>(index, value);
}

void ArrayImpl::Set(std::size_t index, std::int16_t value)
{
    Put<SimpleValueImpl<std::int16_t>>(index, value);
}

void ArrayImpl::Set(std::size_t index, std::int8_t value)
{
    Put<SimpleValueImpl<std::int8_t>>(index, value);
}

void ArrayImpl::Set(std::size_t index, std::uint8_t value)
{
    Put<SimpleValueImpl<std::uint8_t>>(index, value);
}

void ArrayImpl::GetBinary(std::size_t index, Bytes& value) const
{
    value = Find<BinaryValue>(index)->Get();
}

void ArrayImpl::Get(std::size_t index, bool& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::wstring& value) const
{
    value = Find<StringValueImpl<wchar_t>>(index)->Get();
}

void ArrayImpl::Get(std::size_t index, std::string& value) const
{
    value = Find<StringValueImpl<char>>(index)->Get();
}

void ArrayImpl::Get(std::size_t index, std::uint64_t& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::int64_t& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::uint32_t& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::int32_t& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::uint16_t& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::int16_t& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::int8_t& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::uint8_t& value) const
{
    GetSimple(index, value);
}

std::shared_ptr<IArray> ArrayImpl::AddArray(std::size_t index, std::size_t size)
{
    auto node = std::make_shared<ArrayValue>(size);
    auto array = std::make_shared<ArrayImpl>(node);
    Slot(index) = std::move(node);
    return array;
}

std::shared_ptr<IArray> ArrayImpl::GetArray(std::size_t index)
{
    return std::make_shared<ArrayImpl>(Find<ArrayValue>(index));
}

std::shared_ptr<const IArray> ArrayImpl::GetArray(std::size_t index) const
{
    return std::make_shared<const ArrayImpl>(Find<ArrayValue>(index));
}

std::shared_ptr<IContainer> ArrayImpl::AddContainer(std::size_t index)
{
    auto node = std::make_shared<ContainerValue>();
    auto container = std::make_shared<ContainerImpl>(node);
    Slot(index) = std::move(node);
    return container;
}

std::shared_ptr<IContainer> ArrayImpl::GetContainer(std::size_t index)
{
    return std::make_shared<ContainerImpl>(Find<ContainerValue>(index));
}

std::shared_ptr<const IContainer> ArrayImpl::GetContainer(std::size_t index) const
{
    return std::make_shared<const ContainerImpl>(Find<ContainerValue>(index));
}

} // namespace cctool::Serialization::StlDTree
