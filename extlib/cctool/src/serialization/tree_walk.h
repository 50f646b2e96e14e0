#pragma once

#include "extlib/cctool/src/serialization/nested_values.h"

/// The traversals of whole trees. Each has its own stack in memory, so that deep nesting cannot exhaust the thread's
/// stack.
namespace cctool::Serialization::StlDTree::detail {

/// Reads the count of elements and the elements, which replace those of the value; failures are documented in
/// Value::Deserialize.
[[nodiscard]] bool ReadTree(ArrayValue& root, Reader& reader);
[[nodiscard]] bool ReadTree(ContainerValue& root, Reader& reader);

/// Returns the number of bytes that WriteTree() needs. An empty slot counts as its type code alone.
[[nodiscard]] std::size_t TreeSize(const ArrayValue& root);
[[nodiscard]] std::size_t TreeSize(const ContainerValue& root);

/// Writes the count of elements and the elements; see Value::Serialize.
[[nodiscard]] bool WriteTree(const ArrayValue& root, Writer& writer);
[[nodiscard]] bool WriteTree(const ContainerValue& root, Writer& writer);

} // namespace cctool::Serialization::StlDTree::detail
