#include "extlib/cctool/src/serialization/nested_values.h"
#include "extlib/cctool/src/serialization/simple_values.h"
#include "extlib/cctool/src/serialization/value.h"

namespace cctool::Serialization::StlDTree::detail {

ValuePtr CreateValue(TypeCode type)
{
    switch (type) {
    case TypeCode::Signed8:
        return std::make_shared<SimpleValueImpl<std::int8_t>>();
    case TypeCode::Unsigned8:
        return std::make_shared<SimpleValueImpl<std::uint8_t>>();
    case TypeCode::Signed16:
        return std::make_shared<SimpleValueImpl<std::int16_t>>();
    case TypeCode::Unsigned16:
        return std::make_shared<SimpleValueImpl<std::uint16_t>>();
    case TypeCode::Signed32:
        return std::make_shared<SimpleValueImpl<std::int32_t>>();
    case TypeCode::Unsigned32:
        return std::make_shared<SimpleValueImpl<std::uint32_t>>();
    case TypeCode::Signed64:
        return std::make_shared<SimpleValueImpl<std::int64_t>>();
    case TypeCode::Unsigned64:
        return std::make_shared<SimpleValueImpl<std::uint64_t>>();
    case TypeCode::NarrowString:
        return std::make_shared<StringValueImpl<char>>();
    case TypeCode::WideString:
        return std::make_shared<StringValueImpl<wchar_t>>();
    case TypeCode::Bool:
        return std::make_shared<SimpleValueImpl<bool>>();
    case TypeCode::Binary:
        return std::make_shared<BinaryValue>();
    case TypeCode::Array:
        return std::make_shared<ArrayValue>();
    case TypeCode::Container:
        return std::make_shared<ContainerValue>();
    }
    return nullptr;
}

} // namespace cctool::Serialization::StlDTree::detail
