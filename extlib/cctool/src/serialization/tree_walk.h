#pragma once

#include "extlib/cctool/src/serialization/nested_values.h"

/// The walks over whole trees. Each keeps its own stack in memory, so that no depth of nesting can exhaust the
/// thread's.
namespace cctool::Serialization::StlDTree::detail {

/// Reads the count of elements and the elements into an empty value; see Value::Deserialize for failures. After a
/// failure it holds what was read so far.
[[nodiscard]] bool ReadTree(ArrayValue& root, Reader& reader);
[[nodiscard]] bool ReadTree(ContainerValue& root, Reader& reader);

/// The bytes that WriteTree() needs. An empty slot counts as its type code alone.
[[nodiscard]] std::size_t TreeSize(const ArrayValue& root);
[[nodiscard]] std::size_t TreeSize(const ContainerValue& root);

/// Writes the count of elements and the elements; see Value::Serialize.
[[nodiscard]] bool WriteTree(const ArrayValue& root, Writer& writer);
[[nodiscard]] bool WriteTree(const ContainerValue& root, Writer& writer);

} // namespace cctool::Serialization::StlDTree::detail
