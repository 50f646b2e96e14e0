#include "extlib/cctool/src/serialization/array_impl.h"

#include "cctool/serialization/errors.h"
#include "extlib/cctool/src/serialization/container_impl.h"
#include "extlib/cctool/src/serialization/simple_values.h"

namespace cctool::Serialization::StlDTree {

using detail::ArrayValue;
using detail::BinaryValue;
using detail::ContainerValue;
using detail::SimpleValueImpl;
using detail::StringValueImpl;
using detail::Value;

namespace {

constexpr const char* array_source = "extlib\\cctool\\src\\serialization\\array_impl";

[[noreturn]] void Refuse(std::size_t index, AccessFailure reason, std::uint32_t line)
{
    throw ArrayElementAccessError(index, reason, {array_source, line});
}

} // namespace

std::size_t ArrayImpl::Size() const
{
    return node_.Elements().size();
}

Value*& ArrayImpl::Slot(std::size_t index)
{
    if (index >= node_.Elements().size()) {
        Refuse(index, AccessFailure::NotFound, __LINE__);
    }
    return node_.Elements()[index];
}

template <typename Node, typename T>
void ArrayImpl::Put(std::size_t index, const T& value)
{
    Slot(index) = &node_.Memory().Make<Node>(node_.Memory(), value);
}

template <typename Node>
Node& ArrayImpl::Find(std::size_t index) const
{
    const auto items = node_.Elements();
    if (index >= items.size() || items[index] == nullptr) {
        Refuse(index, AccessFailure::NotFound, __LINE__);
    }
    if (items[index]->Type() != Node::type) {
        Refuse(index, AccessFailure::InvalidType, __LINE__);
    }
    return static_cast<Node&>(*items[index]);
}

template <typename T>
void ArrayImpl::GetSimple(std::size_t index, T& value) const
{
    value = Find<SimpleValueImpl<T>>(index).Get();
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
    value = Find<BinaryValue>(index).Get();
}

void ArrayImpl::Get(std::size_t index, bool& value) const
{
    GetSimple(index, value);
}

void ArrayImpl::Get(std::size_t index, std::wstring& value) const
{
    value = Find<StringValueImpl<wchar_t>>(index).Get();
}

void ArrayImpl::Get(std::size_t index, std::string& value) const
{
    value = Find<StringValueImpl<char>>(index).Get();
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
    Value*& slot = Slot(index);
    detail::Arena& arena = node_.Memory();
    auto& node = arena.Make<ArrayValue>(arena, size);
    auto array = arena.Share<IArray>(node.Face());
    slot = &node;
    return array;
}

std::shared_ptr<IArray> ArrayImpl::GetArray(std::size_t index)
{
    return node_.Memory().Share<IArray>(Find<ArrayValue>(index).Face());
}

std::shared_ptr<const IArray> ArrayImpl::GetArray(std::size_t index) const
{
    return node_.Memory().Share<const IArray>(Find<ArrayValue>(index).Face());
}

std::shared_ptr<IContainer> ArrayImpl::AddContainer(std::size_t index)
{
    Value*& slot = Slot(index);
    detail::Arena& arena = node_.Memory();
    auto& node = arena.Make<ContainerValue>(arena);
    auto container = arena.Share<IContainer>(node.Face());
    slot = &node;
    return container;
}

std::shared_ptr<IContainer> ArrayImpl::GetContainer(std::size_t index)
{
    return node_.Memory().Share<IContainer>(Find<ContainerValue>(index).Face());
}

std::shared_ptr<const IContainer> ArrayImpl::GetContainer(std::size_t index) const
{
    return node_.Memory().Share<const IContainer>(Find<ContainerValue>(index).Face());
}

} // namespace cctool::Serialization::StlDTree
