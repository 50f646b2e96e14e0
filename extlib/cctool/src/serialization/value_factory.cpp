#include "extlib/cctool/src/serialization/nested_values.h"
#include "extlib/cctool/src/serialization/simple_values.h"
#include "extlib/cctool/src/serialization/value.h"

namespace cctool::Serialization::StlDTree::detail {

Value* CreateValue(Arena& arena, TypeCode type)
{
    switch (type) {
    case TypeCode::Signed8:
        return &arena.Make<SimpleValueImpl<std::int8_t>>(arena);
    case TypeCode::Unsigned8:
        return &arena.Make<SimpleValueImpl<std::uint8_t>>(arena);
    case TypeCode::Signed16:
        return &arena.Make<SimpleValueImpl<std::int16_t>>(arena);
    case TypeCode::Unsigned16:
        return &arena.Make<SimpleValueImpl<std::uint16_t>>(arena);
    case TypeCode::Signed32:
        return &arena.Make<SimpleValueImpl<std::int32_t>>(arena);
    case TypeCode::Unsigned32:
        return &arena.Make<SimpleValueImpl<std::uint32_t>>(arena);
    case TypeCode::Signed64:
        return &arena.Make<SimpleValueImpl<std::int64_t>>(arena);
    case TypeCode::Unsigned64:
        return &arena.Make<SimpleValueImpl<std::uint64_t>>(arena);
    case TypeCode::NarrowString:
        return &arena.Make<StringValueImpl<char>>(arena);
    case TypeCode::WideString:
        return &arena.Make<StringValueImpl<wchar_t>>(arena);
    case TypeCode::Bool:
        return &arena.Make<SimpleValueImpl<bool>>(arena);
    case TypeCode::Binary:
        return &arena.Make<BinaryValue>(arena);
    case TypeCode::Array:
        return &arena.Make<ArrayValue>(arena);
    case TypeCode::Container:
        return &arena.Make<ContainerValue>(arena);
    }
    return nullptr;
}

ValuePtr CreateValue(TypeCode type)
{
    const auto arena = std::make_shared<Arena>();
    Value* const value = CreateValue(*arena, type);
    return value == nullptr ? nullptr : arena->Share(*value);
}

} // namespace cctool::Serialization::StlDTree::detail
