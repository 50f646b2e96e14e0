#pragma once

#include "extlib/cctool/src/serialization/cursors.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace cctool::Serialization::StlDTree::detail {

class Arena;

/// A node of the tree. It is in the tree's arena, and everything that it contains too.
class Value
{
public:
    Value() = default;
    Value(const Value&) = delete;
    Value& operator=(const Value&) = delete;
    virtual ~Value() = default;

    [[nodiscard]] virtual TypeCode Type() const noexcept = 0;
    /// Returns the size in bytes, without the type code ahead of the value.
    [[nodiscard]] virtual std::size_t SerializedSize() const = 0;
    /// Returns false if the writer has too little space, or a slot of an array is empty.
    [[nodiscard]] virtual bool Serialize(Writer& writer) const = 0;
    /// Returns false, and does not change the value, if the bytes are not such a value.
    [[nodiscard]] virtual bool Deserialize(Reader& reader) = 0;
};

/// Returns an empty value of a type; null for an unknown type.
[[nodiscard]] Value* CreateValue(Arena& arena, TypeCode type);

/// A value with ownership of its arena.
using ValuePtr = std::shared_ptr<Value>;

/// As above, in an arena of its own.
[[nodiscard]] ValuePtr CreateValue(TypeCode type);

} // namespace cctool::Serialization::StlDTree::detail
